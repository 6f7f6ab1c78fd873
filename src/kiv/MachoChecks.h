/// What does not compile: the complaints of Macho::CMachine about the types of its states; not for applications.
///
/// A check is a struct of the types that it looks at: compilers print them in the line above the message.
#ifndef KIV_MACHOCHECKS_H
#define KIV_MACHOCHECKS_H

#include <cstddef>
#include <type_traits>
#include <utility>

#include <kiv/MachoTraits.h>

namespace Macho::detail
{

template<class Root>
using StateTypesOf = typename Root::StateSpecification::template StateTypes<Root>;

/// One state among the others of its machine, and its base clause.
template<class Root, class S>
struct CheckedState
{
    static_assert(HasSpecification<S>::value, "Macho: what is listed in States<...> is no state: derive it from "
                                              "Macho::State<SuperState>");
    using Types = StateTypesOf<Root>;
    using StateSpecification = typename S::StateSpecification;
    using Super = typename StateSpecification::Super;
    using First = typename StateSpecification::First;

    static_assert(std::is_void_v<Super> || Types::template number<Super> != nowhere,
                  "Macho: the super-state of a state is neither the root nor listed in the root's States<...>");
    static_assert(std::is_void_v<First> || Types::template number<First> != nowhere,
                  "Macho: the initial sub-state of a state is not listed in the root's States<...>");

    static constexpr std::size_t number = Types::template number<S>;
    static constexpr std::size_t superState = std::is_void_v<Super> ? 0 : Types::template number<Super>;
    static constexpr std::size_t initialState = std::is_void_v<First> ? number : Types::template number<First>;
};

/// What no state has heard of: an on() that takes it is a template that takes everything.
struct Unheard
{};

/// Somebody handles the event where the machine can stay.
template<class S, class Event>
struct CheckedEvent
{
    static_assert(
        std::is_void_v<S>,
        "Macho: neither this state nor a super-state up to the root has an on() for this event; add one, in the "
        "root for all states");
    static constexpr bool value = true;
};
template<class Event>
struct CheckedEvent<void, Event>
{
    static constexpr bool value = true;
};

// ---- where an on() leads

template<class S, class... Data>
constexpr bool isMadeFrom(const ToAdapted<S, Data...>* /*initialiser*/)
{
    return std::is_constructible_v<S, Data...>;
}
constexpr bool isMadeFrom(const void* /*initialiser*/) { return true; }

/// A transition that the source's on() for the event may ask for.
template<class Root, class Source, class Event, class Initialiser>
struct CheckedTransition
{
    using Target = typename Way<Initialiser>::Target;
    static constexpr eEntryKind kind = Way<Initialiser>::kind;

    static_assert(StateTypesOf<Root>::template number<Target> != nowhere,
                  "Macho: this is no state of the machine; list it in the root's States<...>");
    static_assert(!std::is_same_v<Target, Root>, "Macho: the root is no target of a transition; its states are");
    static_assert(
        (kind != EntryHistory && kind != EntryDeepHistory) || Target::StateSpecification::isRemembered,
        "Macho: the target of ToHistory and ToDeepHistory remembers nothing; add the option Remembered to its "
        "Macho::State<...>");
    static_assert(kind == EntryAdapting || std::is_default_constructible_v<Target>,
                  "Macho: default and history entry need a default constructor of the state; it has none");
    static_assert(isMadeFrom(static_cast<const Initialiser*>(nullptr)),
                  "Macho: the target of ToAdapted<Target, Data...> has no constructor for this data");
    static constexpr bool value = true;
};

template<class Root, class Source, class Event, class... Initialiser>
struct CheckedTransition<Root, Source, Event, Next<Initialiser...>>
{
    static constexpr bool value = (CheckedTransition<Root, Source, Event, Initialiser>::value && ...);
};
template<class Root, class Source, class Event>
struct CheckedTransition<Root, Source, Event, void> : std::true_type
{};
template<class Root, class Source, class Event>
struct CheckedTransition<Root, Source, Event, Stay> : std::true_type
{};

// ---- how an on() is written

/// The on() of a state for an event or an action.
template<class Root, class S, class Event>
struct CheckedOn
{
    using OnEvent = Handler<S, Event>;
    static_assert(!OnEvent::isAmbiguous,
                  "Macho: a state has more than one on() for this event, so that none can be called: by value and by "
                  "reference to const, or with several numbers of super-states; keep one");
    static_assert(OnEvent::isAmbiguous || Handler<S, const Event>::value,
                  "Macho: on() takes its event by value or by reference to const");
    static_assert(!std::is_same_v<Event, Exit> || !asks<typename OnEvent::Result>,
                  "Macho: on(Exit) cannot ask for a transition: one is under way; let it return void");
    static constexpr bool value = CheckedTransition<Root, S, Event, typename OnEvent::Result>::value;
};

/// All that a state may have an on() for.
template<class Root, class S, class... Event>
struct CheckedHandlers
{
    static_assert(
        !Handler<S, Unheard>::value,
        "Macho: an on() is a template that takes any type, Entry and Exit among them; let it be on(Macho::Other)");
    static_assert(
        !NamesOn<S>::value || ((Handler<S, Event>::value || Handler<S, Event>::isAmbiguous) || ...),
        "Macho: a state has an on(), but none that can be called with an event of the machine, Entry, Initial "
        "or Exit; on() is public, and its further parameters are references to super-states");
    static constexpr bool value =
        (Choose<(Handler<S, Event>::value || Handler<S, Event>::isAmbiguous)>::template Of<CheckedOn<Root, S, Event>,
                                                                                           std::true_type>::value &&
         ...);
};

} // namespace Macho::detail

#endif
