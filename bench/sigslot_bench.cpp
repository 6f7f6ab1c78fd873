/// Emission of a signal to 0, 1, 4 and 16 receivers, each with a member function that counts.
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include <QObject>
#include <benchmark/benchmark.h>
#include <boost/signals2.hpp>

#include <kiv/sigslot.h>

#include "allocations.h"

namespace
{

struct Payload
{
    unsigned long step = 1;
};

struct CCounter
{
    void onEvent(Payload* payload) { sum += payload->step; }

    unsigned long sum = 0;
};

class CKivReceiver : public sigslot::has_slots<>, public CCounter
{
public:
    void onSignal(Payload* payload) { onEvent(payload); }
};

/// Its operation belongs to the class beside has_slots.
class CKivSecondBase : public sigslot::has_slots<>, public CCounter
{};

} // namespace

class CQtEmitter : public QObject
{
    Q_OBJECT
Q_SIGNALS:
    void happened(Payload* payload);
};

class CQtReceiver : public QObject, public CCounter
{
    Q_OBJECT
public Q_SLOTS:
    void onSignal(Payload* payload) { onEvent(payload); }
};

namespace
{

template<class Receiver>
std::vector<std::unique_ptr<Receiver>> receivers(std::size_t count)
{
    std::vector<std::unique_ptr<Receiver>> made(count);
    for (auto& each : made)
        each = std::make_unique<Receiver>();
    return made;
}

template<class Emit>
void run(benchmark::State& state, Emit emission)
{
    Payload payload;
    emission(&payload);
    const CAllocationCounter allocations(state);
    for (auto _ : state)
    {
        emission(&payload);
        benchmark::ClobberMemory();
    }
}

void kiv(benchmark::State& state, std::size_t count)
{
    const auto all = receivers<CKivReceiver>(count);
    sigslot::signal1<Payload*> signal;
    for (const auto& each : all)
        signal.connect(each.get(), &CKivReceiver::onSignal);
    run(state, [&](Payload* payload) { signal(payload); });
}

void kivSecondBase(benchmark::State& state, std::size_t count)
{
    const auto all = receivers<CKivSecondBase>(count);
    sigslot::signal1<Payload*> signal;
    for (const auto& each : all)
        signal.connect(each.get(), &CKivSecondBase::onEvent);
    run(state, [&](Payload* payload) { signal(payload); });
}

void functionVector(benchmark::State& state, std::size_t count)
{
    const auto all = receivers<CCounter>(count);
    std::recursive_mutex mutex;
    std::vector<std::function<void(Payload*)>> functions;
    functions.reserve(count);
    for (const auto& each : all)
        functions.emplace_back([receiver = each.get()](Payload* payload) { receiver->onEvent(payload); });
    run(state, [&](Payload* payload) {
        const std::lock_guard<std::recursive_mutex> guard(mutex);
        for (const auto& function : functions)
            function(payload);
    });
}

void boostSignals(benchmark::State& state, std::size_t count)
{
    const auto all = receivers<CCounter>(count);
    boost::signals2::signal<void(Payload*)> signal;
    for (const auto& each : all)
        signal.connect([receiver = each.get()](Payload* payload) { receiver->onEvent(payload); });
    run(state, [&](Payload* payload) { signal(payload); });
}

void qtDirect(benchmark::State& state, std::size_t count)
{
    const auto all = receivers<CQtReceiver>(count);
    CQtEmitter emitter;
    for (const auto& each : all)
        QObject::connect(&emitter, &CQtEmitter::happened, each.get(), &CQtReceiver::onSignal, Qt::DirectConnection);
    run(state, [&](Payload* payload) { Q_EMIT emitter.happened(payload); });
}

const bool registered = [] {
    for (const std::size_t count : {0U, 1U, 4U, 16U})
    {
        const std::string what = "emit to " + std::to_string(count) + (count == 1 ? " receiver/" : " receivers/");
        const auto add = [&](const char* who, void (*body)(benchmark::State&, std::size_t)) {
            benchmark::RegisterBenchmark((what + who).c_str(), body, count);
        };
        add("kiv", kiv);
        add("std::function vector", functionVector);
        add("Boost.Signals2", boostSignals);
        add("QObject direct", qtDirect);
        if (count == 0)
            continue;
        const auto addSecond = [&, second = what.substr(0, what.size() - 1) + ", second base class/"](
                                   const char* who, void (*body)(benchmark::State&, std::size_t)) {
            benchmark::RegisterBenchmark((second + who).c_str(), body, count);
        };
        addSecond("kiv", kivSecondBase);
        addSecond("std::function vector", functionVector);
    }
    return true;
}();

} // namespace

#include "sigslot_bench.moc"
