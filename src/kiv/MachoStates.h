/// The words in which the states of a typed state machine are written down.
#ifndef KIV_MACHOSTATES_H
#define KIV_MACHOSTATES_H

#include <cstddef>
#include <tuple>
#include <type_traits>
#include <utility>
#include <variant>

/// State machines whose states and events are types; see <kiv/Macho.h>.
namespace Macho
{

/// The events of a machine: plain structs with their payload as members.
template<class... Event>
struct Events
{};

/// The states of a machine, all but its root, in the order in which logs and pictures show them. Declared is enough.
template<class... State>
struct States
{};

/// Option of a state: the sub-state that a default entry goes on to.
template<class SubState>
struct InitialState
{};

/// Option of a state: it remembers, until the machine stops, which sub-state was active when it was last left, for
/// ToHistory and ToDeepHistory. To<> does not look at that.
struct Remembered
{};

/// Option of a state: its instance is made on the first entry and kept until the machine stops, so its data survives
/// its exit. Handlers and find() reach it while the state is active; what others read belongs in the root. ToAdapted
/// replaces it.
struct Kept
{};

/// What is known of a state without a machine: its super-state and its options.
template<class SuperState, class... Options>
struct StateSpecification;

/// Base of a state: `struct Idle : Macho::State<Operation, Macho::Kept>`. The super-state is another state or the root.
///
/// What a state does, it says by functions on(), public and each for one type:
///
///   on(const Event&)        handles an event; what a state does not handle, its super-state handles
///   on(Macho::Other)        handles all other events
///   on(Macho::Entry)        the state has been entered, its sub-states not yet
///   on(Macho::Initial)      a default entry ends here or goes on from here to the initial sub-state: after the entry;
///                           not called where the state is only on the way to the target or to a history
///   on(Macho::Exit)         the state is about to be left, its sub-states have been left
///
/// Each may take further parameters, up to two: references to the root or to super-states, whose instances are there as
/// long as the state is active. Each but the exit may return where to go next: void or `Stay` for nowhere, one of the
/// initialisers below for always, `Next` for one of several or nowhere. So a guard is a handler that returns
/// `Next<To<X>>`, and `{}` while its condition does not hold; a state begins again by `To<` itself `>`; work without a
/// transition is a handler that returns void.
///
/// Two on() for one type, as `const A&` and as `A`, do not compile, nor does one that is private, nor a state that is
/// final. But an on() whose further parameters are of no use, or for a type that is no event of the machine, is never
/// called where the state has others.
template<class SuperState, class... Options>
struct State
{
    /// The words of the base clause, for the machine.
    using StateSpecification = Macho::StateSpecification<SuperState, Options...>;
};

/// Base of the root: `struct Door : Macho::Root<Macho::Events<...>, Macho::States<...>, Macho::InitialState<Closed>>`.
///
/// The root lists the events and handles what no state handles. Every event needs a handler on the way from every state
/// to the root; so most roots have `void on(Macho::Other) {}`, or count there what did not fit. Its instance holds what
/// all states share; it is made with the machine, from the arguments of the machine's constructor, and lives as long.
/// on(Entry) and on(Exit) of the root come first at the start and last at the stop.
template<class EventList, class StateList, class First>
struct Root
{
    /// The words of the base clause, for the machine.
    using StateSpecification = Macho::StateSpecification<void, EventList, StateList, First>;
};

/// Parameter of on(): any event of the machine for which the state has no on() of its own; super-states do
/// not see these. What the event was, is lost.
struct Other
{};

/// Parameter of on(): the state has been entered.
struct Entry
{};

/// Parameter of on(): a default entry ends in the state, or goes on from it to its initial sub-state.
struct Initial
{};

/// Parameter of on(): the state is about to be left.
struct Exit
{};

/// Result of on(): no transition.
struct Stay
{};

/// Default entry: into the state, then into its initial sub-state, and so on down.
template<class Target>
struct To
{};

/// History entry: into the state, then into the sub-state that was active last, from there on down by default. Shallow:
/// only the direct sub-state is remembered. By default as long as there is no history. The state is `Remembered`.
template<class Target>
struct ToHistory
{};

/// Deep history entry: into the state and all the way to the innermost sub-state that was active when it was last left.
template<class Target>
struct ToDeepHistory
{};

/// Adapting entry: the new instance adapts itself to where it comes from: it is constructed from the data that the
/// transition hands over. From there on down by default.
///
/// The target has a constructor for exactly this data; it needs a default constructor only if it is also entered
/// otherwise. The data is copied or moved from what a handler with this result returns, `return {code,
/// std::move(profile)};`, is kept while states are left, and moved into the constructor of the target. If the target is
/// `Kept` and its instance is there, a new one takes its place.
template<class Target, class... Data>
struct ToAdapted
{
    static_assert(sizeof...(Data) > 0,
                  "Macho: ToAdapted<Target, Data...> hands data over; without any, use To<Target>");

    /// Takes the data over.
    // The condition leaves copies to the copy constructor, which the check does not see.
    template<class... Value, class = std::enable_if_t<sizeof...(Value) == sizeof...(Data) &&
                                                      std::is_constructible_v<std::tuple<Data...>, Value&&...>>>
    constexpr ToAdapted(Value&&... value)
        : data(std::forward<Value>(value)...) // NOLINT(bugprone-forwarding-reference-overload)
    {}

    std::tuple<Data...> data; ///< for the constructor of the target
};

/// Observer type of a machine that nobody observes.
struct Unobserved
{};

namespace detail
{

template<class Type>
constexpr bool isInitialiser = false;
template<class S>
constexpr bool isInitialiser<To<S>> = true;
template<class S>
constexpr bool isInitialiser<ToHistory<S>> = true;
template<class S>
constexpr bool isInitialiser<ToDeepHistory<S>> = true;
template<class S, class... Data>
constexpr bool isInitialiser<ToAdapted<S, Data...>> = true;

template<class Wanted, class... Type>
constexpr std::size_t positionOf()
{
    std::size_t position = 0;
    const bool found = ((std::is_same_v<Wanted, Type> || (++position, false)) || ...);
    return found ? position : sizeof...(Type);
}

} // namespace detail

/// Result of on(): one of these initialisers, or nowhere. `return Macho::To<Open>{};`, with data `return
/// Macho::ToAdapted<Fault, int>{code};`, and `return {};` or `return Macho::Stay{};` for nowhere.
template<class... Initialiser>
struct Next
{
    static_assert((detail::isInitialiser<Initialiser> && ...),
                  "Macho: Next<...> lists initialisers: To, ToHistory, ToDeepHistory or ToAdapted of a state");

    /// Nowhere.
    constexpr Next(Stay /*nowhere*/ = {}) {}

    /// There, if it is listed.
    // The condition leaves copies to the copy constructor, as above.
    template<class Chosen, class = std::enable_if_t<!std::is_same_v<std::decay_t<Chosen>, Next>>>
    constexpr Next(Chosen&& initialiser) // NOLINT(bugprone-forwarding-reference-overload)
        : choice(static_cast<unsigned char>(positionIn<std::decay_t<Chosen>>()))
    {
        if constexpr (carriesData)
            value.template emplace<positionIn<std::decay_t<Chosen>>() + 1>(std::forward<Chosen>(initialiser));
    }

    /// True if any of the initialisers hands data over.
    static constexpr bool carriesData = !(std::is_empty_v<Initialiser> && ...);

    unsigned char choice = sizeof...(Initialiser); ///< which one; their number for nowhere
    std::conditional_t<carriesData, std::variant<Stay, Initialiser...>, Stay> value{}; ///< the data handed over

private:
    template<class Chosen>
    static constexpr std::size_t positionIn()
    {
        constexpr std::size_t position = detail::positionOf<Chosen, Initialiser...>();
        static_assert(position < sizeof...(Initialiser),
                      "Macho: on() returns what its Next<...> does not list; add it there. Data goes into its "
                      "initialiser: return ToAdapted<Target, Data...>{data}");
        return position;
    }
};

} // namespace Macho

#endif
