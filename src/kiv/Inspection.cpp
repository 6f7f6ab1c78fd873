// The server's thread and the application's meet in CInspectionPrivate: `lock` guards the lists of what is shown. What
// the lists hold is called without the lock, so that a slow function holds up nobody but those who look.
#include <kiv/Inspection.h>

#include <algorithm>
#include <cstdlib>
#include <utility>
#include <vector>

#include <sys/eventfd.h>

#include <kiv/AlarmTimer.h>
#include <kiv/StateMachine.h>
#include <kiv/StateMachineDiagram.h>
#include <kiv/Thread.h>
#include <kiv/diag.h>

#include "kiv/env/qt/core/QtSync.h"
#include "kiv/env/unix/diag/LogRing.h"
#include "kiv/env/unix/diag/logging.h"
#include "kiv/inspection/InspectedMachine.h"
#include "kiv/inspection/InspectionServer.h"
#include "kiv/text/JsonText.h"

namespace Kiv
{

namespace
{

constexpr const char* thisFile = "../../src/kiv/Inspection";

bool isName(const std::string& name)
{
    const char* const allowed = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789-_.";
    return !name.empty() && name.size() <= 60 && name.find_first_not_of(allowed) == std::string::npos;
}

/// The first folder of a list, as the service manager gives it.
std::string folderFrom(const char* variable)
{
    const char* const value = std::getenv(variable);
    const std::string list = value != nullptr ? value : "";
    return list.substr(0, list.find(':'));
}

std::string folderOr(const std::string& given)
{
    for (const std::string& folder : {given, folderFrom("RUNTIME_DIRECTORY"), folderFrom("XDG_RUNTIME_DIR")})
        if (!folder.empty())
            return folder;
    return "";
}

std::int64_t nowIn(clockid_t clock)
{
    timespec now{};
    clock_gettime(clock, &now);
    return std::int64_t{now.tv_sec} * 1000000000 + now.tv_nsec;
}

/// The first word of a text, which loses it.
std::string takeWord(std::string& text)
{
    const std::size_t end = text.find(' ');
    std::string word = text.substr(0, end);
    text.erase(0, end == std::string::npos ? end : end + 1);
    return word;
}

std::string problem(const std::string& text)
{
    return CJsonObject().addText("kind", "error").addText("text", text).text();
}

} // namespace

class CInspectionPrivate : public IInspected
{
public:
    explicit CInspectionPrivate(const std::string& inspectionName) : name(inspectionName) {}

    int open(const std::string& folder, const std::string& group);
    void add(CStateMachine& machine, const std::string& shownName);

    std::string greeting() override;
    std::string answer(const std::string& request, const ucred& peer) override;
    void setWatched(bool watched) override;
    std::string changes() override;

    struct Value
    {
        std::string name;
        std::function<std::string()> read;
    };
    using Machines = std::vector<std::shared_ptr<CInspectedMachine>>;

    template<class List>
    List copyOf(List CInspectionPrivate::*list) const
    {
        const CPlainLock guard(lock);
        return this->*list;
    }

    const std::string name;
    mutable CPlainMutex lock;
    Machines machines KIV_GUARDED_BY(lock);
    std::vector<const CAlarmTimer*> timers KIV_GUARDED_BY(lock);
    std::vector<Value> values KIV_GUARDED_BY(lock);
    CInspectionSocket socket;
    CDescriptor wakeup{::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)};
    int result = 0;
    std::unique_ptr<CThread> thread;

private:
    std::shared_ptr<CInspectedMachine> machineNamed(const std::string& wanted) const;
    std::string state() const;
    std::string diagram(std::string rest) const;
    std::string post(std::string rest, const ucred& peer) const;
    std::string timersText() const;
    std::string valuesText() const;

    bool isWatched = false;
    std::string lastRest;
};

namespace
{

/// Keeps what it serves, since a body may outlive its thread object.
class CInspectionThread : public CThread
{
public:
    explicit CInspectionThread(std::shared_ptr<CInspectionPrivate> servedInspection)
        : CThread("inspection"), served(std::move(servedInspection))
    {}
    ~CInspectionThread() override { waitForCompletion(100); }
    CInspectionThread(const CInspectionThread&) = delete;
    CInspectionThread& operator=(const CInspectionThread&) = delete;

    void run() override
    {
        const std::shared_ptr<CInspectionPrivate> kept = served;
        CInspectionServer(kept->socket, *kept).serve(kept->wakeup.get());
        kept->setWatched(false);
    }

private:
    const std::shared_ptr<CInspectionPrivate> served;
};

} // namespace

int CInspectionPrivate::open(const std::string& folder, const std::string& group)
{
    if (!isName(name))
        return -static_cast<int>(errnoToErrCode(EINVAL));
    const std::string place = folderOr(folder);
    if (place.empty())
        return -static_cast<int>(errnoToErrCode(ENOENT));
    return wakeup.isOpen() ? socket.open(place + "/kiv-" + name + ".sock", group) : negatedErrno();
}

void CInspectionPrivate::add(CStateMachine& machine, const std::string& shownName)
{
    const CPlainLock guard(lock);
    const std::size_t number = machines.size() + 1;
    const std::string standard = number == 1 ? "machine" : "machine " + std::to_string(number);
    machines.push_back(std::make_shared<CInspectedMachine>(machine, shownName.empty() ? standard : shownName));
}

std::string CInspectionPrivate::greeting()
{
    CJsonObject object;
    object.addText("kind", "hello").addNumber("protocol", 1).addText("name", name);
    return object.addNumber("pid", ::getpid()).addText("libkiv", KIV_VERSION).text();
}

std::string CInspectionPrivate::answer(const std::string& request, const ucred& peer)
{
    std::string rest = request;
    const std::string word = takeWord(rest);
    if (word == "state" && rest.empty())
        return state();
    if (word == "diagram")
        return diagram(rest);
    if (word == "post")
        return post(rest, peer);
    return problem("requests are: state, watch, diagram FORMAT MACHINE, post EVENT MACHINE");
}

std::shared_ptr<CInspectedMachine> CInspectionPrivate::machineNamed(const std::string& wanted) const
{
    for (const auto& machine : copyOf(&CInspectionPrivate::machines))
        if (machine->name() == wanted)
            return machine;
    return nullptr;
}

std::string CInspectionPrivate::state() const
{
    std::vector<std::string> machineTexts;
    for (const auto& machine : copyOf(&CInspectionPrivate::machines))
        machineTexts.push_back(machine->state());
    std::vector<std::string> log;
    Diag::stateMachineLog().forEach([&](const char* line) { log.push_back(jsonString(line)); });
    CJsonObject object;
    object.addText("kind", "state").addNumber("time_ns", nowIn(CLOCK_MONOTONIC));
    object.addNumber("cpu_ns", nowIn(CLOCK_PROCESS_CPUTIME_ID)).add("machines", jsonArray(machineTexts));
    return object.add("timers", timersText()).add("log", jsonArray(log)).add("values", valuesText()).text();
}

std::string CInspectionPrivate::timersText() const
{
    std::vector<std::string> texts;
    for (const CAlarmTimer* timer : copyOf(&CInspectionPrivate::timers))
        texts.push_back(CJsonObject()
                            .addText("name", timer->name())
                            .addNumber("interval_ms", timer->getInterval())
                            .addBool("running", timer->isStarted())
                            .text());
    return jsonArray(texts);
}

std::string CInspectionPrivate::valuesText() const
{
    std::vector<std::string> texts;
    for (const Value& value : copyOf(&CInspectionPrivate::values))
        texts.push_back(CJsonObject().addText("name", value.name).addText("value", value.read()).text());
    return jsonArray(texts);
}

std::string CInspectionPrivate::diagram(std::string rest) const
{
    const std::string format = takeWord(rest);
    const auto machine = machineNamed(rest);
    if (!machine)
        return problem("no such machine");
    const std::pair<const char*, eDiagramFormat> formats[] = {
        {"mermaid", DiagramMermaid}, {"dot", DiagramDot}, {"plantuml", DiagramPlantUml}};
    for (const auto& [word, known] : formats)
        if (format == word)
            return CJsonObject()
                .addText("kind", "diagram")
                .addText("text", stateMachineDiagram(machine->machine(), known))
                .text();
    return problem("formats are: mermaid, dot, plantuml");
}

std::string CInspectionPrivate::post(std::string rest, const ucred& peer) const
{
    const std::string number = takeWord(rest);
    const auto machine = machineNamed(rest);
    char* end = nullptr;
    const unsigned long event = std::strtoul(number.c_str(), &end, 10);
    if (!machine || number.empty() || *end != '\0' || event > 255)
        return problem("no such machine or event");
    const auto eventNo = static_cast<unsigned char>(event);
    if (!machine->allows(eventNo))
        return problem("the program does not allow this event");
    Diag::logAt(Diag::diagLogger(), log4cplus::INFO_LOG_LEVEL, {thisFile, __LINE__, __func__}, [&] {
        return Diag::formatted("Inspection: event %lu for %s from user %u, process %d", event, rest.c_str(), peer.uid,
                               peer.pid);
    });
    machine->machine().postEvent(eventNo);
    return CJsonObject().addText("kind", "posted").addNumber("event", static_cast<std::int64_t>(event)).text();
}

void CInspectionPrivate::setWatched(bool watched)
{
    isWatched = watched;
    for (const auto& machine : copyOf(&CInspectionPrivate::machines))
        machine->setWatched(watched);
}

std::string CInspectionPrivate::changes()
{
    std::vector<std::string> machineTexts;
    for (const auto& machine : copyOf(&CInspectionPrivate::machines))
    {
        machine->setWatched(isWatched); // it may have been shown since
        const std::string text = machine->changes();
        if (!text.empty())
            machineTexts.push_back(text);
    }
    CJsonObject rest; // the values come last: their functions may outlast what was shown
    const std::string restText = rest.add("timers", timersText()).add("values", valuesText()).text();
    if (machineTexts.empty() && restText == lastRest)
        return "";
    lastRest = restText;
    CJsonObject object;
    object.addText("kind", "changes")
        .addNumber("time_ns", nowIn(CLOCK_MONOTONIC))
        .add("machines", jsonArray(machineTexts));
    const std::string text = object.text();
    return text.substr(0, text.size() - 1) + ',' + restText.substr(1);
}

CInspection::CInspection(const std::string& name, const std::string& folder, const std::string& group)
    : d(std::make_shared<CInspectionPrivate>(name))
{
    d->result = d->open(folder, group);
    if (Diag::isHeard(Diag::diagLogger()))
        Diag::logAt(Diag::diagLogger(), d->result == 0 ? log4cplus::INFO_LOG_LEVEL : log4cplus::WARN_LOG_LEVEL,
                    {thisFile, __LINE__, __func__}, [&] {
                        return d->result == 0
                                   ? "Inspection: open at " + d->socket.path()
                                   : "Inspection: \"" + name + "\" is not open: " + std::to_string(d->result);
                    });
    if (d->result != 0)
        return;
    d->thread = std::make_unique<CInspectionThread>(d);
    d->thread->start();
}

CInspection::~CInspection()
{
    const std::unique_ptr<CThread> ending = std::move(d->thread);
    ::eventfd_write(d->wakeup.get(), 1);
}

int CInspection::result() const { return d->result; }

std::string CInspection::path() const { return d->socket.path(); }

void CInspection::show(CStateMachine& machine, const std::string& name) { d->add(machine, name); }

void CInspection::show(const CAlarmTimer& timer)
{
    const CPlainLock guard(d->lock);
    d->timers.push_back(&timer);
}

void CInspection::show(const std::string& name, std::function<std::string()> read)
{
    const CPlainLock guard(d->lock);
    d->values.push_back({name, std::move(read)});
}

void CInspection::allow(CStateMachine& machine, unsigned char eventNo)
{
    for (const auto& shown : d->copyOf(&CInspectionPrivate::machines))
        if (&shown->machine() == &machine)
            shown->allow(eventNo);
}

} // namespace Kiv
