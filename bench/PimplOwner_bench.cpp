// Copying and moving an object with a private implementation, beside a hand-written deep copy and Qt's shared data.
#include <kiv/PimplOwner.h>

#include <array>

#include <QSharedData>
#include <QSharedDataPointer>

#include "allocations.h"

namespace
{

using Payload = std::array<int, 16>;

struct KivImpl : Kiv::CPimpl
{
    explicit KivImpl(Kiv::CPimplOwner* owner) : CPimpl(owner) {}
    Payload payload{};
};

class CKivThing : public Kiv::CPimplOwner
{
public:
    CKivThing() : CPimplOwner(Kiv::make_polymorphic_value<Kiv::CPimpl, KivImpl>(this)) {}
    void touch() { ++pimpl<KivImpl>()->payload[0]; }
};

struct Impl
{
    virtual ~Impl() = default;
    virtual std::unique_ptr<Impl> clone() const { return std::make_unique<Impl>(*this); }
    Payload payload{};
};

/// What one writes by hand: an implementation that clones itself.
class CCloningThing
{
public:
    CCloningThing() = default;
    CCloningThing(const CCloningThing& other) : d(other.d->clone()) {}
    CCloningThing(CCloningThing&&) noexcept = default;
    CCloningThing& operator=(const CCloningThing&) = delete;
    CCloningThing& operator=(CCloningThing&&) noexcept = default;
    ~CCloningThing() = default;
    void touch() { ++d->payload[0]; }

private:
    std::unique_ptr<Impl> d = std::make_unique<Impl>();
};

struct SharedImpl : QSharedData
{
    Payload payload{};
};

class CQtThing
{
public:
    void touch() { ++d->payload[0]; }

private:
    QSharedDataPointer<SharedImpl> d{new SharedImpl};
};

template<class Thing>
void copyAndChange(benchmark::State& state)
{
    const Thing source;
    const CAllocationCounter counter(state);
    for (auto _ : state)
    {
        Thing copy(source);
        copy.touch();
        benchmark::DoNotOptimize(copy);
    }
}

template<class Thing>
void moveThereAndBack(benchmark::State& state)
{
    Thing one;
    const CAllocationCounter counter(state);
    for (auto _ : state)
    {
        Thing other(std::move(one));
        benchmark::DoNotOptimize(other);
        one = std::move(other);
        benchmark::DoNotOptimize(one);
    }
}

} // namespace

BENCHMARK(copyAndChange<CKivThing>)->Name("copy and change/kiv");
BENCHMARK(copyAndChange<CCloningThing>)->Name("copy and change/virtual clone by hand");
BENCHMARK(copyAndChange<CQtThing>)->Name("copy and change/QSharedDataPointer");
BENCHMARK(moveThereAndBack<CKivThing>)->Name("move there and back/kiv");
BENCHMARK(moveThereAndBack<CCloningThing>)->Name("move there and back/virtual clone by hand");
