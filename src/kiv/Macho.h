/// Typed state machines: states and events are types, and the compiler makes a switch of the chart.
#ifndef KIV_MACHO_H
#define KIV_MACHO_H

#include <array>
#include <cassert>
#include <cstddef>
#include <cstdint>
#include <new>
#include <type_traits>
#include <utility>
#include <variant>

#include <kiv/MachoChart.h>
#include <kiv/MachoStates.h>
#include <kiv/MachoTables.h>
#include <kiv/MachoTraits.h>

namespace Macho
{

/// What a machine tells its observer; derive from it and override, or pass a class of the same functions.
class IObserver
{
public:
    virtual ~IObserver() = default;

    /// The machine is about to handle the event.
    virtual void onEvent(std::size_t event) = 0;
    /// A transition fires; nothing has been left yet.
    virtual void onTransition(const ChartArrow& arrow) = 0;
    /// The state has been entered, its on(Entry) has not run yet.
    virtual void onEntered(std::size_t state) = 0;
    /// The state is left: its on(Exit) has run.
    virtual void onLeft(std::size_t state) = 0;
};

/// A state machine made of types. The smallest example:
///
///     struct Press {};                                                                      // an event
///     struct Closed;                                                                        // the states
///     struct Open;
///     struct Door : Macho::Root<Macho::Events<Press>, Macho::States<Closed, Open>, Macho::InitialState<Closed>> {};
///     struct Closed : Macho::State<Door> { Macho::To<Open> on(const Press&) { return {}; } };
///     struct Open : Macho::State<Door> { Macho::To<Closed> on(const Press&) { return {}; } };
///
///     Macho::CMachine<Door> door;
///     door.start();                                                                         // Closed
///     door.handle(Press());                                                                 // Open
///
/// `Root` is a struct derived from Macho::Root: it names events, states and the initial state, see <kiv/MachoStates.h>.
/// Which state handles which event, what is left and entered on the way from each state to each target, and where the
/// instances lie is settled by the compiler; at run time there is one number, that of the innermost active state, and a
/// jump over it. Use it where the chart is known when the program is written; CStateMachine of <kiv/StateMachine.h> is
/// for charts that are put together at run time.
///
/// What happens on handle():
/// - The innermost active state handles the event, or the innermost of its super-states that has an on() for it.
/// - The transition that on() returns takes place when it has returned: every active state but those that contain the
///   target is left, innermost first, and the target with what lies above it is entered, outermost first; then
///   its initial sub-states. A target that is active itself is left and entered anew.
/// - on(Entry) and on(Initial) may ask for the next transition. It takes place at once: what the interrupted one would
///   have entered further down is not entered. The state whose action asks is active then, and is left like any other.
///   An on() has one result, so nobody asks twice. on(Exit) cannot ask; that does not compile.
/// - The loop ends when nobody asks any more. A circle of entries that ask for each other runs forever; builds without
///   NDEBUG abort after `longestChain` transitions in a row.
///
/// What does not compile: an event that no state on the way to the root handles, two on() of a state for one event, a
/// target or super-state that is not listed, an event that is not listed, a history of a state that is not
/// `Remembered`, data from which the target cannot be constructed. All but the listing of an event that is handed to
/// handle() is checked where the type CMachine<Root> is first used, be the event handled or not. Search the compiler's
/// output for the first message that begins with "Macho:"; the state, the event and the transition stand in the lines
/// above it.
///
/// Declare the states, define the root, then super-states before sub-states; all are complete before the first
/// CMachine<Root>.
///
/// Instances: on entry a state is constructed, from the data of ToAdapted or by its default constructor, and destroyed
/// after its exit; one that is `Kept` is constructed once and destroyed by stop(). All lie within the machine, in one
/// block where states that are never active together share their place. The machine allocates nothing.
///
///   state    | start()                      | handle()         | stop()                        | destructor
///   ---------+------------------------------+------------------+-------------------------------+----------------------
///   stopped  | enters root and initial ones | ignores it       | nothing                       |
///   started  | nothing                      | see above        | leaves all, root included;    | destroys instances
///            |                              |                  | histories are forgotten       | without on(Exit)
///   halted   | nothing                      | ignores it       | leaves all that is active     | destroys instances
///
/// on() must not call handle(), start() or stop() of its own machine; builds without NDEBUG abort.
///
/// Threads: reentrant, a machine belongs to one thread at a time; it has no lock. Machines share nothing.
/// Errors: an exception passes through handle(), start() or stop(). One from the handler of an event leaves the machine
/// in the state it was in. One from on(Entry), on(Initial) or on(Exit), or from a constructor, halts the machine where
/// it had come to: the state whose action threw is active, innermost; what was left before is left; a state whose
/// constructor threw was never there. The rest of the transition is lost. A halted machine can be asked, stopped (which
/// calls on(Exit) of what is active, again if that threw) and destroyed.
template<class Root, class Observer = Unobserved>
class CMachine
    : detail::Watch<Observer>,
      detail::Deferred<CMachine<Root, Observer>, detail::StateTables<Root>, detail::StateTables<Root>::anyoneAsks>
{
    using Tables = detail::StateTables<Root>;
    using EventTypes = typename Root::StateSpecification::EventTypes;

    template<class Wanted>
    struct ToVariant;
    template<class... Event>
    struct ToVariant<detail::TypeList<Event...>>
    {
        using Variant = std::variant<Event...>;
    };

    static_assert(EventTypes::isSet(), "Macho: an event is listed twice in the root's Events<...>");
    static_assert(detail::CheckedMachine<Root, EventTypes, typename Tables::Types>::value);

public:
    /// Any event of the machine, for queues.
    using AnyEvent = typename ToVariant<EventTypes>::Variant;

    /// Transitions in a row without an event, after which builds without NDEBUG abort.
    static constexpr int longestChain = 1000;

    /// Makes the root's instance from the arguments. The machine is stopped.
    template<class... Argument>
    explicit CMachine(Argument&&... argument) : rootInstance(std::forward<Argument>(argument)...)
    {}

    ~CMachine()
    {
        destroyActive(std::make_index_sequence<stopped>());
        destroyKept(std::make_index_sequence<stopped>());
    }
    CMachine(const CMachine&) = delete;
    CMachine& operator=(const CMachine&) = delete;

    /// Enters the root and its initial states.
    [[gnu::cold]] void start();

    /// Leaves all states, the root last, destroys what was kept and forgets histories.
    [[gnu::cold]] void stop();

    /// Handles an event: one of the root's list, or AnyEvent from a queue. Ignored while the machine is stopped or
    /// halted.
    template<class Event>
    void handle(const Event& event);

    /// True between start() and stop().
    bool isStarted() const { return active != stopped; }

    /// True after an exception in the middle of a transition, until stop(): no event is handled.
    bool isHalted() const { return active >= underWay; }

    /// True if the state is active, as the innermost one or with a sub-state.
    template<class S>
    bool isIn() const
    {
        static constexpr auto inside = Tables::insideOf(number<S>());
        return inside[state()];
    }

    /// Number of the innermost active state: the root's is 0, then they come in the order of States<...>. While
    /// stopped, one more than the last.
    std::size_t state() const { return static_cast<unsigned>(active) - (active < underWay ? 0 : underWay); }

    /// Its name; "(stopped)" while stopped.
    const char* stateName() const { return Tables::names[state()]; }

    /// The root's instance, which holds what all states share.
    Root& root() { return rootInstance; }
    const Root& root() const { return rootInstance; }

    /// The instance of an active state; null if the state is not active, also where it is Kept. It is gone when the
    /// state is left, unless it is Kept.
    template<class S>
    S* find()
    {
        return isIn<S>() ? &instance<number<S>()>() : nullptr;
    }
    template<class S>
    const S* find() const
    {
        return const_cast<CMachine*>(this)->find<S>();
    }

    /// Tells `watching` what the machine does from now on; null ends it. Only with an observer type.
    void observe(Observer* watching) { this->observer = watching; }

    /// The machine's shape, the same for all machines of the type.
    static const Chart& chart() { return detail::ChartTables<Root>::chart; }

private:
    using Types = typename Tables::Types;

    template<std::size_t StateNo>
    using At = typename Types::template At<StateNo>;

    // What `active` says: the number of the innermost state, stopped, or underWay and that number: a transition is at
    // work, or an exception has ended one.
    static constexpr unsigned stopped = Tables::count;
    static constexpr unsigned underWay = stopped + 1;
    // A type of its own, not a number: as a byte it could be a part of anything that an on() reads or writes, and every
    // step of a transition would have to store it.
    using StoredNumber = std::conditional_t<underWay + stopped <= 0xff, std::uint8_t, std::uint16_t>;
    enum eStored : StoredNumber
    {
    };
    static constexpr auto layout = Tables::layout();

    /// Why a transition fires.
    template<std::size_t SourceNo, std::size_t EventNo>
    struct Cause
    {
        static constexpr std::size_t sourceState = SourceNo;
        static constexpr std::size_t eventNo = EventNo;
    };

    /// The same transition for different reasons is one piece of code unless somebody wants to know them.
    static constexpr bool isObserved = !std::is_same_v<Observer, Unobserved>;
    template<std::size_t SourceNo, std::size_t EventNo>
    using WhyOf = Cause<isObserved ? SourceNo : 0, isObserved ? EventNo : 0>;

    /// Becomes the references that an on() takes to its super-states.
    template<std::size_t StateNo>
    struct Above
    {
        CMachine& machine;

        template<class Wanted>
        [[gnu::always_inline]] operator Wanted&() const
        {
            constexpr std::size_t wanted = number<std::remove_const_t<Wanted>>();
            static_assert(
                wanted == 0 || (wanted != StateNo && detail::isWithin(Tables::superStates, StateNo, wanted)),
                "Macho: on() takes a reference to a state that is neither the root nor one of its super-states");
            return machine.instance<wanted>();
        }
    };

    template<class S>
    static constexpr std::size_t number()
    {
        constexpr std::size_t found = Types::template number<S>;
        static_assert(found != detail::nowhere,
                      "Macho: this is no state of the machine; list it in the root's States<...>");
        return found;
    }

    template<std::size_t StateNo>
    [[gnu::always_inline]] At<StateNo>& instance()
    {
        if constexpr (StateNo == 0)
            return rootInstance;
        else
            return *__builtin_launder(reinterpret_cast<At<StateNo>*>(memory + layout.offsets.at[StateNo]));
    }

    // ---- events
    //
    // What a machine costs the compiler goes with the number of functions here that are made for every state with every
    // event. So there is only one, and it does by itself what is a function of its own where it is used less.

    /// A jump over the innermost state. Where the root handles the event and stays, there is no case of its own.
    template<class Event, std::size_t... Place>
    [[gnu::always_inline]] void dispatch(const Event& event, std::index_sequence<Place...> /*all*/)
    {
        [[maybe_unused]] constexpr auto& cases = Tables::template eventTable<Event>.cases;
        constexpr std::size_t eventNo = isObserved ? EventTypes::template number<Event> : 0;
        const unsigned innermost = active;
        if (((innermost == cases.at[Place] &&
              (deliver<cases.at[Place], eventNo>(event, ExtraOf<cases.at[Place], Event>()), true)) ||
             ...))
            return;
        if constexpr (sizeof...(Place) < Tables::innermostCount)
            if (innermost < stopped)
                deliver<0, eventNo>(event, ExtraOf<0, Event>());
    }

    template<std::size_t InnermostNo, class Event>
    using HandlerOf = detail::EventHandler<At<Tables::template eventTable<Event>.handlers.at[InnermostNo]>, Event>;

    /// As many numbers as the on() for the event has parameters besides it.
    template<std::size_t InnermostNo, class Event>
    using ExtraOf = typename HandlerOf<InnermostNo, Event>::Extra;

    template<std::size_t InnermostNo, std::size_t EventNo, class Event, std::size_t... Extra>
    [[gnu::always_inline]] void deliver(const Event& event, std::index_sequence<Extra...> extra)
    {
        constexpr std::size_t handler = Tables::template eventTable<Event>.handlers.at[InnermostNo];
        using Form = detail::Handler<At<handler>, Event>;
        using Result = typename Form::Result;
        [[maybe_unused]] const Above<handler> above{*this};
        if constexpr (!Form::value) // the innermost state that takes the event takes Other
            deliver<InnermostNo, EventNo>(Other(), extra);
        else if constexpr (!detail::asks<Result>)
            instance<handler>().on(event, (static_cast<void>(Extra), above)...);
        else if constexpr (!detail::isInitialiser<Result>)
        {
            Result asked = instance<handler>().on(event, (static_cast<void>(Extra), above)...);
            if (!follow<InnermostNo, WhyOf<handler, EventNo>>(asked))
                takeSteps();
        }
        else
        {
            using Taken = Path<InnermostNo, Result>;
            Result asked = instance<handler>().on(event, (static_cast<void>(Extra), above)...);
            if constexpr (isObserved || Tables::rememberedCount > 0)
                depart<InnermostNo, Taken, WhyOf<handler, EventNo>>();
            active = static_cast<eStored>(underWay + InnermostNo);
            leave<InnermostNo, Taken::common>();
            if (!arrive<Taken::common, Taken::target>(asked))
                takeSteps();
        }
    }

    /// Calls the on() for an action.
    template<std::size_t StateNo, class Action, std::size_t... Extra>
    [[gnu::always_inline]] decltype(auto) call(const Action& action, std::index_sequence<Extra...> /*extra*/)
    {
        [[maybe_unused]] const Above<StateNo> above{*this};
        return instance<StateNo>().on(action, (static_cast<void>(Extra), above)...);
    }

    // ---- transitions; what they are made of returns false if an action asks for the next one

    template<std::size_t InnermostNo, class Why, class... Initialiser>
    [[gnu::always_inline]] bool follow(Next<Initialiser...>& next)
    {
        return followChoice<InnermostNo, Why>(next, std::index_sequence_for<Initialiser...>());
    }

    template<std::size_t InnermostNo, class Why, class... Initialiser, std::size_t... Position>
    [[gnu::always_inline]] bool followChoice(Next<Initialiser...>& next, std::index_sequence<Position...> /*all*/)
    {
        bool isDone = true;
        if constexpr (Next<Initialiser...>::carriesData)
            static_cast<void>((transitIf<InnermostNo, Why>(std::get_if<Position + 1>(&next.value), isDone) || ...));
        else
            static_cast<void>(
                ((next.choice == Position && (isDone = transitTo<InnermostNo, Why, Initialiser>(), true)) || ...));
        return isDone;
    }

    template<std::size_t InnermostNo, class Why, class Initialiser>
    bool transitIf(Initialiser* chosen, bool& isDone)
    {
        if (chosen)
            isDone = follow<InnermostNo, Why>(*chosen);
        return chosen != nullptr;
    }

    template<std::size_t InnermostNo, class Why, class Initialiser>
    bool transitTo()
    {
        Initialiser initialiser;
        return follow<InnermostNo, Why>(initialiser);
    }

    /// From where to where.
    template<std::size_t InnermostNo, class Initialiser>
    struct Path
    {
        static constexpr std::size_t target = Types::template number<typename detail::Way<Initialiser>::Target>;
        static constexpr std::size_t common = detail::commonSuperState(Tables::superStates, InnermostNo, target);
        static constexpr eEntryKind kind = detail::Way<Initialiser>::kind;
    };

    template<std::size_t InnermostNo, class Why, class Initialiser>
    bool follow(Initialiser& initialiser)
    {
        using Taken = Path<InnermostNo, Initialiser>;
        depart<InnermostNo, Taken, Why>();
        active = static_cast<eStored>(underWay + InnermostNo);
        leave<InnermostNo, Taken::common>();
        return arrive<Taken::common, Taken::target>(initialiser);
    }

    template<std::size_t InnermostNo, class Taken, class Why>
    [[gnu::always_inline]] void depart()
    {
        if constexpr (isObserved)
            tell([&](Observer& told) {
                told.onTransition({Why::sourceState, Taken::target, Why::eventNo, Taken::kind});
            });
        if constexpr (Tables::rememberedCount > 0)
            remember<InnermostNo, InnermostNo, Taken::common>();
    }

    template<std::size_t CommonNo, std::size_t TargetNo, class S>
    bool arrive(To<S>& /*byDefault*/)
    {
        return enterDown<CommonNo, TargetNo>() && settle<TargetNo>();
    }

    template<std::size_t CommonNo, std::size_t TargetNo, class S, class... Data>
    bool arrive(ToAdapted<S, Data...>& adapted)
    {
        return enterDown<CommonNo, Tables::superStates.at[TargetNo]>() &&
               std::apply([this](auto&... data) { return this->template enter<TargetNo>(std::move(data)...); },
                          adapted.data) &&
               settle<TargetNo>();
    }

    template<std::size_t CommonNo, std::size_t TargetNo, class S>
    bool arrive(ToHistory<S>& /*history*/)
    {
        return enterDown<CommonNo, TargetNo>() && resume<TargetNo, false>(std::make_index_sequence<stopped>());
    }

    template<std::size_t CommonNo, std::size_t TargetNo, class S>
    bool arrive(ToDeepHistory<S>& /*history*/)
    {
        return enterDown<CommonNo, TargetNo>() && resume<TargetNo, true>(std::make_index_sequence<stopped>());
    }

    /// Leaves what is active below `common`, innermost first.
    template<std::size_t StateNo, std::size_t CommonNo>
    void leave()
    {
        if constexpr (StateNo != CommonNo)
        {
            leaveOne<StateNo>();
            leave<Tables::superStates.at[StateNo], CommonNo>();
        }
    }

    // Rarely run: small rather than fast.
    template<std::size_t... StateNo>
    [[gnu::cold]] void leaveAll(std::index_sequence<StateNo...> /*all*/)
    {
        while (active != stopped)
        {
            const std::size_t innermost = this->state();
            active = static_cast<eStored>(underWay + innermost);
            static_cast<void>(((innermost == StateNo && (leaveOne<StateNo>(), true)) || ...));
        }
    }

    template<std::size_t StateNo>
    void leaveOne()
    {
        using OnExit = detail::Handler<At<StateNo>, Exit>;
        if constexpr (OnExit::value)
            call<StateNo>(Exit(), typename OnExit::Extra());
        if constexpr (isObserved)
            tell([](Observer& told) { told.onLeft(StateNo); });
        if constexpr (!Tables::isKept[StateNo] && isDestroyed<StateNo>)
            destroy<StateNo>();
        active = static_cast<eStored>(StateNo == 0 ? stopped : underWay + Tables::superStates.at[StateNo]);
    }

    /// Enters what lies between `common` and `state`, outermost first, and `state`; false if one of them asks for
    /// another transition.
    template<std::size_t CommonNo, std::size_t StateNo>
    bool enterDown()
    {
        if constexpr (StateNo == CommonNo)
            return true;
        else if constexpr (Tables::superStates.at[StateNo] == CommonNo)
            return enter<StateNo>();
        else
            return enterDown<CommonNo, Tables::superStates.at[StateNo]>() && enter<StateNo>();
    }

    template<std::size_t StateNo, class... Data>
    bool enter(Data&&... data)
    {
        static_assert(sizeof...(Data) > 0 || StateNo == 0 || std::is_default_constructible_v<At<StateNo>>,
                      "Macho: default and history entry need a default constructor of the state; it has none");
        if constexpr (Tables::isKept[StateNo])
            makeKept<StateNo>(std::forward<Data>(data)...);
        else if constexpr (StateNo != 0)
            ::new (static_cast<void*>(memory + layout.offsets.at[StateNo])) At<StateNo>(std::forward<Data>(data)...);
        active = static_cast<eStored>(underWay + StateNo);
        if constexpr (isObserved)
            tell([](Observer& told) { told.onEntered(StateNo); });
        return act<StateNo, Entry>();
    }

    /// The default way from an active state down.
    template<std::size_t StateNo>
    bool settle()
    {
        constexpr std::size_t initial = Tables::initialStates.at[StateNo];
        if constexpr (detail::Handler<At<StateNo>, Initial>::value)
            if (!act<StateNo, Initial>())
                return false;
        if constexpr (initial != StateNo)
            return enter<initial>() && settle<initial>();
        else
        {
            active = static_cast<eStored>(StateNo);
            return true;
        }
    }

    // ---- instances

    template<std::size_t StateNo, class... Data>
    void makeKept(Data&&... data)
    {
        bool& isThere = keptInstances[Tables::rank(Tables::isKept, StateNo)];
        if (sizeof...(Data) == 0 && isThere)
            return;
        if (isThere)
            destroy<StateNo>();
        isThere = false;
        ::new (static_cast<void*>(memory + layout.offsets.at[StateNo])) At<StateNo>(std::forward<Data>(data)...);
        isThere = true;
    }

    /// Not so: the root, which lives as long as the machine, and what has nothing to destroy.
    template<std::size_t StateNo>
    static constexpr bool isDestroyed = StateNo != 0 && !std::is_trivially_destructible_v<At<StateNo>>;

    template<std::size_t StateNo>
    [[gnu::always_inline]] void destroy()
    {
        using S = At<StateNo>;
        instance<StateNo>().~S();
    }

    template<std::size_t... StateNo>
    [[gnu::cold]] void destroyKept(std::index_sequence<StateNo...> /*all*/)
    {
        if constexpr (Tables::keptCount > 0)
            static_cast<void>((destroyKept<stopped - 1 - StateNo>(), ...));
        keptInstances = {};
    }

    template<std::size_t StateNo>
    void destroyKept()
    {
        if constexpr (Tables::isKept[StateNo])
            if (keptInstances[Tables::rank(Tables::isKept, StateNo)])
                destroy<StateNo>();
    }

    template<std::size_t... StateNo>
    [[gnu::cold]] void destroyActive(std::index_sequence<StateNo...> /*all*/)
    {
        if constexpr ((isDestroyed<StateNo> || ...))
            while (this->state() != 0 && active != stopped)
            {
                const std::size_t innermost = this->state();
                static_cast<void>(((innermost == StateNo && (destroyActive<StateNo>(), true)) || ...));
                active = static_cast<eStored>(underWay + Tables::superStates.at[innermost]);
            }
    }

    template<std::size_t StateNo>
    void destroyActive()
    {
        if constexpr (!Tables::isKept[StateNo] && isDestroyed<StateNo>)
            destroy<StateNo>();
    }

    // ---- history

    /// Notes the innermost state for every state that is left and has a history.
    template<std::size_t InnermostNo, std::size_t StateNo, std::size_t CommonNo>
    [[gnu::always_inline]] void remember()
    {
        if constexpr (StateNo != CommonNo)
        {
            if constexpr (Tables::isRemembered[StateNo] && StateNo != InnermostNo)
                histories[Tables::rank(Tables::isRemembered, StateNo)] = static_cast<eStored>(InnermostNo);
            remember<InnermostNo, Tables::superStates.at[StateNo], CommonNo>();
        }
    }

    template<std::size_t StateNo, bool IsDeep, std::size_t... OtherNo>
    bool resume(std::index_sequence<OtherNo...> /*all*/)
    {
        const std::size_t last = histories[Tables::rank(Tables::isRemembered, StateNo)];
        if (last == 0)
            return settle<StateNo>();
        bool isDone = true;
        static_cast<void>(((last == OtherNo && (isDone = resumeAt<StateNo, IsDeep, OtherNo>(), true)) || ...));
        return isDone;
    }

    template<std::size_t StateNo, bool IsDeep, std::size_t LastNo>
    bool resumeAt()
    {
        if constexpr (LastNo != StateNo && Tables::insideOf(StateNo)[LastNo])
        {
            constexpr std::size_t target = IsDeep ? LastNo : Tables::childTowards(StateNo, LastNo);
            return enterDown<StateNo, target>() && settle<target>();
        }
        return true;
    }

    // ---- what entry actions ask for

    /// Runs an action; false if it asks for a transition, which waits then.
    template<std::size_t StateNo, class Action>
    [[gnu::always_inline]] bool act()
    {
        using Handler = detail::Handler<At<StateNo>, Action>;
        if constexpr (detail::asks<typename Handler::Result>)
            return !defer<StateNo, Action>(call<StateNo>(Action(), typename Handler::Extra()));
        else if constexpr (Handler::value)
            call<StateNo>(Action(), typename Handler::Extra());
        return true;
    }

    template<std::size_t StateNo, class Action, class Result>
    bool defer(Result&& asked)
    {
        static_assert(std::is_nothrow_move_constructible_v<Result>,
                      "Macho: data that an entry or initial action hands over moves without throwing");
        if (detail::isNowhere(asked))
            return false;
        ::new (static_cast<void*>(this->result)) Result(std::forward<Result>(asked));
        this->step = &CMachine::takeStep<StateNo, Action, Result>;
        return true;
    }

    template<std::size_t StateNo, class Action, class Result>
    static void takeStep(CMachine& machine)
    {
        constexpr std::size_t event = std::is_same_v<Action, Entry> ? Chart::entryAction : Chart::initialAction;
        Result* const stored = __builtin_launder(reinterpret_cast<Result*>(machine.result));
        Result asked(std::move(*stored));
        stored->~Result();
        machine.follow<StateNo, WhyOf<StateNo, event>>(asked);
    }

    void takeSteps()
    {
        if constexpr (Tables::anyoneAsks)
        {
            [[maybe_unused]] int chain = 0;
            while (this->step)
            {
                assert(++chain <= longestChain && "Macho: entry actions ask for each other's states in a circle");
                std::exchange(this->step, nullptr)(*this);
            }
        }
    }

    // ---- observers and misuse

    template<class Telling>
    void tell(const Telling& telling)
    {
        if (this->observer)
            telling(*this->observer);
    }

    /// Held while on() may run.
    class CBusy
    {
    public:
#ifdef NDEBUG
        explicit CBusy(CMachine& /*machine*/) {}
#else
        explicit CBusy(CMachine& machine) : busy(machine.isBusy)
        {
            assert(!busy && "Macho: an on() has called handle(), start() or stop() of its own machine");
            busy = true;
        }
        ~CBusy() { busy = false; }
        CBusy(const CBusy&) = delete;
        CBusy& operator=(const CBusy&) = delete;

    private:
        bool& busy;
#endif
    };

    eStored active = static_cast<eStored>(stopped);
    bool isBusy = false; // in all builds, so that they agree about the size
    std::array<bool, Tables::keptCount> keptInstances{};
    std::array<eStored, Tables::rememberedCount> histories{}; // 0: none
    Root rootInstance;
    alignas(Tables::alignment) std::byte memory[layout.size];
};

template<class Root, class Observer>
void CMachine<Root, Observer>::start()
{
    const CBusy busy(*this);
    if (isStarted())
        return;
    if (!(enter<0>() && settle<0>()))
        takeSteps();
}

template<class Root, class Observer>
void CMachine<Root, Observer>::stop()
{
    const CBusy busy(*this);
    leaveAll(std::make_index_sequence<stopped>());
    destroyKept(std::make_index_sequence<stopped>());
    histories = {};
}

template<class Root, class Observer>
template<class Event>
void CMachine<Root, Observer>::handle(const Event& event)
{
    // Not an overload: the compiler would try for each event whether it converts to AnyEvent, which takes it long.
    if constexpr (std::is_same_v<Event, AnyEvent>)
        std::visit([this](const auto& typed) { this->handle(typed); }, event);
    else
    {
        static_assert(EventTypes::template number<Event> != detail::nowhere,
                      "Macho: this is no event of the machine; list it in the root's Events<...>");
        const CBusy busy(*this);
        if constexpr (isObserved)
            if (isStarted() && !isHalted())
                tell([](Observer& told) { told.onEvent(EventTypes::template number<Event>); });
        dispatch(event, std::make_index_sequence<Tables::template eventTable<Event>.caseCount>());
    }
}

} // namespace Macho

#endif
