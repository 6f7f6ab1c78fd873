// A sewage pumping station on a simulated basin: a small controller made of a state machine, an alarm timer, an INI
// file and a log. README.md beside this file describes it.

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <memory>
#include <optional>
#include <vector>

#include <kiv/EnvVars.h>
#include <kiv/ErrorToString.h>
#include <kiv/Inspection.h>
#include <kiv/StateMachineTrace.h>
#include <kiv/StateMachineValidation.h>
#include <kiv/diag.h>

#include "BoardWiring.h"
#include "InflowRecord.h"
#include "Options.h"
#include "Plant.h"
#include "PumpHours.h"
#include "Report.h"
#include "Run.h"
#include "Service.h"
#include "Settings.h"
#include "StationMachine.h"
#include "StopSignals.h"
#include "TextFile.h"
#include "Wiring.h"

using namespace PumpStation;

namespace PumpStation
{

/// Fails as a program does that finds itself broken. Not in the unnamed namespace: the report would have no name for
/// it.
[[noreturn, gnu::noinline]] void failOnPurpose()
{
    std::raise(SIGABRT);
    std::abort(); // not reached; a call that ends a function returns behind it, where the report finds no name
}

} // namespace PumpStation

namespace
{

constexpr std::size_t tracedRecords = 100000;
constexpr int statusFailed = 1;
constexpr int statusBadInput = 2;
constexpr int statusOfSignal = 128; // plus its number

int fail(int status, const std::string& reason)
{
    Kiv::Diag::stdErrPrintf("pump_station: %s\n", reason.c_str());
    return status;
}

/// Configures logging; unlike log4cplus it minds a property file that is not there.
void initLogging(const std::string& path)
{
    const CTextFile readable(path);
    Kiv::Diag::init(path);
}

/// Waits for the run's end and hastens it when a signal says so. The signal's number, or 0.
int waitForEnd(CRun& run, const CStopSignals& stopSignals)
{
    int stoppedBy = 0;
    while (run.isRunning())
        if (const int signal = stopSignals.wait(std::chrono::milliseconds(20)))
        {
            stoppedBy = signal;
            run.requestStop();
        }
    return stoppedBy;
}

std::unique_ptr<IWiring> makeWiring(const Options& options, const Settings& settings)
{
    if (options.loopback)
        return std::make_unique<CBoardWiring>(settings.terminals, BoardWorldLoopback);
    if (options.board)
        return std::make_unique<CBoardWiring>(settings.terminals, BoardWorldSimulated);
    return std::make_unique<CDirectWiring>();
}

/// Says what is wrong with the machine before it starts; the run shows what comes of it.
void reportFindings(const CStationMachine& machine)
{
    // [validation]
    std::vector<unsigned char> events;
    for (unsigned char event = EventLevelDry; event <= EventMark; ++event)
        events.push_back(event);
    for (const Kiv::MachineFinding& finding : Kiv::validate(machine, events))
        Kiv::Diag::stdErrPrintf("pump_station: state machine: %s\n", finding.sentence.c_str());
    // [validation]
}

/// As JSON if the file's name says so, otherwise as text. 0 or an error code.
ErrCode writeTrace(const Kiv::CStateMachineTrace& trace, const std::string& path)
{
    const std::string ending = ".json";
    const bool isJson = path.size() >= ending.size() && path.substr(path.size() - ending.size()) == ending;
    return static_cast<ErrCode>(-(isJson ? trace.writeChromeJson(path) : trace.writeText(path)));
}

/// Lets the station work until its record or a signal ends it. The signal's number, or 0.
int operate(CPlant& plant, CRun& run, const CStopSignals& stopSignals, bool crash)
{
    CService service(plant, run);
    plant.start();
    if (crash)
        failOnPurpose();
    run.start();
    service.start();
    const int signal = waitForEnd(run, stopSignals);
    service.stop();
    plant.stop();
    return signal;
}

/// The program's exit status; says why when the run failed.
int statusOf(const CRun& run, const IWiring& wiring, int signal)
{
    switch (run.outcome())
    {
    case RunComplete:
        return 0;
    case RunInterrupted:
        return statusOfSignal + signal;
    case RunFailed:
        return fail(statusFailed, wiring.error() != 0
                                      ? "the wiring failed: " + std::string(ErrorToString(wiring.error()))
                                      : "the state machine did not answer in time");
    default:
        return fail(statusFailed, "the alarm timer could not be started");
    }
}

int control(const Options& options)
{
    const CStopSignals stopSignals;
    Kiv::Diag::installDiagnosticSignalHandlers();
    Kiv::Env::initEnvironmentVars();
    const Settings settings(options.configPath);
    const CInflowRecord record(options.inflowPath.value_or(settings.inflowPath));
    initLogging(settings.logPath);

    const auto wiring = makeWiring(options, settings);
    CPumpHours hours(settings.hoursPath);
    CPlant plant(settings, record, *wiring, hours);
    CRun run(plant, static_cast<int>(settings.alarmInterval.count()), options.speed.value_or(settings.speed),
             options.quiet);
    reportFindings(plant.stateMachine());
    std::optional<Kiv::CStateMachineTrace> trace;
    if (options.tracePath)
        trace.emplace(plant.stateMachine(), tracedRecords).start();
    std::optional<Kiv::CInspection> inspection;
    if (options.inspectName)
        inspection.emplace(*options.inspectName).show(plant.stateMachine(), "station");
    if (inspection && inspection->result() != 0)
        Kiv::Diag::stdErrPrintf("pump_station: nobody can look: %s\n",
                                ErrorToString(static_cast<ErrCode>(-inspection->result())));
    const int signal = operate(plant, run, stopSignals, options.crash);

    printTable(plant);
    const ErrCode traced = trace ? writeTrace(*trace, *options.tracePath) : 0;
    const int saved = hours.save();
    printHours(hours);
    if (saved != 0)
        return fail(statusFailed, settings.hoursPath + ": " + ErrorToString(static_cast<ErrCode>(saved)));
    if (traced != 0)
        return fail(statusFailed, *options.tracePath + ": " + ErrorToString(traced));
    return statusOf(run, *wiring, signal);
}

int runProgram(int argc, char** argv)
{
    const Options options(argc, argv);
    if (options.help)
        std::fputs(helpText, stdout);
    else if (options.schema)
        std::fputs(settingsSchema().c_str(), stdout);
    else if (options.diagram)
        std::fputs(Kiv::stateMachineDiagram(CStationMachine(), *options.diagram).c_str(), stdout);
    else
        return control(options);
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    std::setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
    try
    {
        const int status = runProgram(argc, argv);
        return std::fflush(stdout) == 0 && !std::ferror(stdout) ? status
                                                                : fail(statusFailed, "cannot write the output");
    }
    catch (const CUsageError& error)
    {
        return fail(statusBadInput, std::string(error.what()) + "; --help lists the options");
    }
    catch (const CWiringError& error)
    {
        return fail(statusFailed, std::string(error.what()) + "; --help says how to run it on the simulated board");
    }
    catch (const CInputError& error)
    {
        return fail(statusBadInput, error.what());
    }
    catch (const std::exception& error)
    {
        return fail(statusFailed, error.what());
    }
}
