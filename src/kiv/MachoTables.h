/// The tables that Macho::CMachine computes from the types of its states; not for applications.
#ifndef KIV_MACHOTABLES_H
#define KIV_MACHOTABLES_H

#include <array>
#include <cstddef>
#include <type_traits>
#include <utility>

#include <kiv/MachoChecks.h>
#include <kiv/MachoTraits.h>

namespace Macho::detail
{

/// std::max of a list, without <algorithm>, which is a large header.
template<class... Size>
constexpr std::size_t largest(Size... size)
{
    std::size_t result = 0;
    static_cast<void>(((result = size > result ? size : result), ...));
    return result;
}

/// Numbers, relations and memory of the states below a root.
template<class Root, class Types = typename Root::StateSpecification::template StateTypes<Root>>
struct StateTables;

template<class Root, class... S>
struct StateTables<Root, TypeList<S...>>
{
    using Types = TypeList<S...>;

    static_assert(Types::isSet(), "Macho: a state is listed twice in the root's States<...>");
    static_assert(sizeof...(S) < 0x7fff, "Macho: more states than a machine can number");

    static constexpr std::size_t count = sizeof...(S);
    static constexpr NumberTable<count> superStates{{CheckedState<Root, S>::superState...}};
    static constexpr NumberTable<count> initialStates{{CheckedState<Root, S>::initialState...}};
    static constexpr std::array<bool, count> isRemembered{S::StateSpecification::isRemembered...};
    static constexpr std::array<bool, count> isKept{S::StateSpecification::isKept...};

    /// Every chain of super-states ends at the root.
    static constexpr bool isTree()
    {
        for (std::size_t i = 0; i < count; ++i)
        {
            std::size_t state = i;
            for (std::size_t step = 0; step < count && state != 0; ++step)
                state = superStates.at[state];
            if (state != 0)
                return false;
        }
        return true;
    }

    /// Every initial sub-state lies directly in its state.
    static constexpr bool areInitialStatesInside()
    {
        for (std::size_t i = 0; i < count; ++i)
            if (initialStates.at[i] != i && (superStates.at[initialStates.at[i]] != i || initialStates.at[i] == 0))
                return false;
        return true;
    }

    static_assert(isTree(), "Macho: states are super-states of each other in a circle");
    static_assert(areInitialStatesInside(), "Macho: InitialState<S> names a state that is no direct sub-state");

    // ---- memory: what is active together lies behind one another, what is not shares its place; kept ones stand apart

    struct Layout
    {
        NumberTable<count> offsets{};
        std::size_t size = 1;
    };

    static constexpr std::size_t alignment = largest(alignof(S)...);

    static constexpr Layout layout()
    {
        constexpr std::size_t sizes[] = {sizeof(S)...};
        constexpr std::size_t alignments[] = {alignof(S)...};
        Layout result;
        std::size_t kept = 0;
        const auto place = [&](std::size_t state, std::size_t begin) {
            result.offsets.at[state] = (begin + alignments[state] - 1) / alignments[state] * alignments[state];
            return result.offsets.at[state] + sizes[state];
        };
        for (std::size_t state = 1; state < count; ++state)
            if (isKept[state])
                kept = place(state, kept);
        result.size = largest(result.size, kept);
        std::array<bool, count> placed{};
        placed[0] = true;
        NumberTable<count> ends{};
        ends.at[0] = kept;
        for (std::size_t round = 0; round < count; ++round)
            for (std::size_t state = 1; state < count; ++state)
            {
                if (placed[state] || !placed[superStates.at[state]])
                    continue;
                const std::size_t begin = ends.at[superStates.at[state]];
                ends.at[state] = isKept[state] ? begin : place(state, begin);
                result.size = largest(result.size, ends.at[state]);
                placed[state] = true;
            }
        return result;
    }

    /// How many of the states before this one have the mark: its place in a table of those that have.
    static constexpr std::size_t rank(const std::array<bool, count>& marks, std::size_t state)
    {
        std::size_t result = 0;
        for (std::size_t i = 0; i < state; ++i)
            if (marks[i])
                ++result;
        return result;
    }

    static constexpr std::size_t rememberedCount = (std::size_t{S::StateSpecification::isRemembered} + ...);
    static constexpr std::size_t keptCount = (std::size_t{S::StateSpecification::isKept} + ...);

    // ---- who handles what

    /// What the machine knows about an event.
    struct EventTable
    {
        NumberTable<count> handlers{}; ///< for each state the innermost that handles the event: itself or a super-state
        NumberTable<count> cases{};    ///< the states in which the machine needs a case of its own for the event
        std::size_t caseCount = 0;
        std::size_t unhandled = count; ///< a state at which the machine can stay and that has no handler
    };

    /// `handles` tells which states have an on() for the event. Where the root handles the event and stays, one case
    /// does for all.
    static constexpr EventTable makeEventTable(const bool (&handles)[count], bool doesRootStay)
    {
        EventTable result{};
        for (std::size_t i = 0; i < count; ++i)
        {
            std::size_t state = i;
            while (state != 0 && !handles[state])
                state = superStates.at[state];
            result.handlers.at[i] = handles[state] ? state : nowhere;
            if (initialStates.at[i] != i)
                continue;
            if (!handles[state])
                result.unhandled = i;
            if (state != 0 || !doesRootStay)
                result.cases.at[result.caseCount++] = i;
        }
        return result;
    }

    template<class Event>
    static constexpr bool handles[count] = {EventHandler<S, Event>::value...};

    template<class Event>
    static constexpr EventTable eventTable = makeEventTable(handles<Event>,
                                                            !asks<typename EventHandler<Root, Event>::Result>);

    static constexpr std::size_t innermostCount =
        (std::size_t{CheckedState<Root, S>::initialState == CheckedState<Root, S>::number} + ...);

    /// Which states lie in this one, itself included.
    static constexpr std::array<bool, count + 1> insideOf(std::size_t outer)
    {
        std::array<bool, count + 1> result{};
        for (std::size_t i = 0; i < count; ++i)
            result[i] = isWithin(superStates, i, outer);
        return result;
    }

    /// The direct sub-state of `outer` that contains `inner` or is it.
    static constexpr std::size_t childTowards(std::size_t outer, std::size_t inner)
    {
        while (superStates.at[inner] != outer)
            inner = superStates.at[inner];
        return inner;
    }

    // ---- what entry and initial actions ask for

    template<class Action>
    static constexpr bool anyAsks = (asks<typename Handler<S, Action>::Result> || ...);

    static constexpr bool anyoneAsks = anyAsks<Entry> || anyAsks<Initial>;

    template<class State, class Action>
    using Asked = std::conditional_t<std::is_void_v<typename Handler<State, Action>::Result>, Stay,
                                     typename Handler<State, Action>::Result>;

    static constexpr std::size_t resultSize = largest(sizeof(Asked<S, Entry>)..., sizeof(Asked<S, Initial>)...);
    static constexpr std::size_t resultAlignment = largest(alignof(Asked<S, Entry>)..., alignof(Asked<S, Initial>)...);

    static constexpr std::array<const char*, count + 1> names{NameOf<S>::name()..., "(stopped)"};
};

/// Complains about what is wrong with a machine's states, and nowhere else if possible: before any event is handled.
template<class Root, class EventTypes, class Types>
struct CheckedMachine;

template<class Root, class... Event, class... S>
struct CheckedMachine<Root, TypeList<Event...>, TypeList<S...>>
{
    using Tables = StateTables<Root>;
    template<class E>
    using Forgotten = typename TypeList<S..., void>::template At<Tables::template eventTable<E>.unhandled>;

    static_assert((CheckedEvent<Forgotten<Event>, Event>::value && ...));
    static_assert((CheckedHandlers<Root, S, Event..., Other, Entry, Initial, Exit>::value && ...));
    static constexpr bool value = true;
};

/// The chart of a machine as data; made for those only that ask for it.
template<class Root>
struct ChartTables
{
    using Tables = StateTables<Root>;
    using EventTypes = typename Root::StateSpecification::EventTypes;

    static constexpr std::size_t countWays() { return collect<0>(nullptr, typename Tables::Types(), EventTypes()); }

    template<std::size_t ItemNo, class... Initialiser>
    static constexpr void addWays(ChartArrow* list, std::size_t& count, std::size_t event,
                                  TypeList<Initialiser...> /*ways*/)
    {
        [[maybe_unused]] const auto add = [&](std::size_t target, eEntryKind kind) {
            if (list)
                list[count] = {ItemNo, target, event, kind};
            ++count;
        };
        (add(Tables::Types::template number<typename Way<Initialiser>::Target>, Way<Initialiser>::kind), ...);
    }

    template<class S, class Handler>
    static constexpr void addHandler(ChartArrow* list, std::size_t& count, std::size_t event)
    {
        addWays<Tables::Types::template number<S>>(list, count, event,
                                                   typename Ways<typename Handler::Result>::Types());
    }

    template<class S, class... Event>
    static constexpr void addState(ChartArrow* list, std::size_t& count, TypeList<Event...> /*events*/)
    {
        addHandler<S, Handler<S, Initial>>(list, count, Chart::initialAction);
        addHandler<S, Handler<S, Entry>>(list, count, Chart::entryAction);
        (addHandler<S, EventHandler<S, Event>>(list, count, EventTypes::template number<Event>), ...);
    }

    template<std::size_t None, class... S>
    static constexpr std::size_t collect(ChartArrow* list, TypeList<S...> /*states*/, EventTypes eventTypes)
    {
        std::size_t count = None;
        (addState<S>(list, count, eventTypes), ...);
        return count;
    }

    static constexpr std::size_t arrowCount = countWays();

    static constexpr std::array<ChartArrow, arrowCount + 1> makeArrows()
    {
        std::array<ChartArrow, arrowCount + 1> result{};
        collect<0>(result.data(), typename Tables::Types(), EventTypes());
        return result;
    }

    template<std::size_t... StateNo>
    static constexpr std::array<ChartState, sizeof...(StateNo)> makeStates(std::index_sequence<StateNo...> /*all*/)
    {
        return {ChartState{Tables::names[StateNo], Tables::superStates.at[StateNo], Tables::initialStates.at[StateNo],
                           Tables::isRemembered[StateNo]}...};
    }

    template<class... Event>
    static constexpr std::array<const char*, sizeof...(Event)> makeEvents(TypeList<Event...> /*events*/)
    {
        return {NameOf<Event>::name()...};
    }

    template<class... Event>
    static constexpr auto makeHandled(TypeList<Event...> /*events*/)
    {
        std::array<bool, Tables::count * sizeof...(Event)> result{};
        std::size_t place = 0;
        for (std::size_t state = 0; state < Tables::count; ++state)
            ((result[place++] = Tables::template handles<Event>[state]), ...);
        return result;
    }

    static constexpr auto states = makeStates(std::make_index_sequence<Tables::count>());
    static constexpr auto events = makeEvents(EventTypes());
    static constexpr auto arrows = makeArrows();
    static constexpr auto handled = makeHandled(EventTypes());
    static constexpr Chart chart{states.data(), states.size(), events.data(), events.size(),
                                 arrows.data(), arrowCount,    handled.data()};
};

// ---- parts of the machine

/// What an entry action has asked for waits here until the action has returned.
template<class Machine, class Tables, bool IsNeeded>
struct Deferred
{
    void (*step)(Machine&) = nullptr;
    alignas(Tables::resultAlignment) std::byte result[Tables::resultSize];
};
template<class Machine, class Tables>
struct Deferred<Machine, Tables, false>
{};

/// Whom the machine tells what it does.
template<class Observer>
struct Watch
{
    Observer* observer = nullptr;
};
template<>
struct Watch<Unobserved>
{};

template<class Result>
constexpr bool isNowhere(const Result& /*always*/)
{
    return false;
}
template<class... Initialiser>
constexpr bool isNowhere(const Next<Initialiser...>& next)
{
    return next.choice == sizeof...(Initialiser);
}

} // namespace Macho::detail

#endif
