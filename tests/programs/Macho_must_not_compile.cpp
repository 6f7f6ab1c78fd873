// What must not compile, and the message that says why. tests/must-not-compile compiles this file once without any
// macro, which must work, and once with each macro that a line "#ifdef MACRO // message" names.

#include <kiv/Macho.h>

// A message stands in one line.
// clang-format off

#include <memory>

struct Press
{};
struct Release
{};
struct Stranger
{};

struct Closed;
struct Open;
struct Ajar;
struct Elsewhere;

#ifdef STATE_LISTED_TWICE // Macho: a state is listed twice in the root's States<...>
#define STATES Macho::States<Closed, Open, Ajar, Open>
#elif defined(SUPER_STATE_NOT_LISTED)
#define STATES Macho::States<Closed, Ajar>
#else
#define STATES Macho::States<Closed, Open, Ajar>
#endif
#ifdef SUPER_STATE_NOT_LISTED // Macho: the super-state of a state is neither the root nor listed in the root's States<...>
#endif

struct Door : Macho::Root<Macho::Events<Press, Release>, STATES, Macho::InitialState<Closed>>
{
    void on(const Press&) {}
#ifdef NOBODY_HANDLES // Macho: neither this state nor a super-state up to the root has an on() for this event
#else
    void on(const Release&) {}
#endif
};

struct Elsewhere : Macho::State<Door>
{};

struct Closed : Macho::State<Door>
{
#ifdef TARGET_NOT_LISTED // Macho: this is no state of the machine; list it in the root's States<...>
    Macho::To<Elsewhere> on(const Press&) { return {}; }
#elif defined(TARGET_IS_ROOT)
    Macho::To<Door> on(const Press&) { return {}; }
#elif defined(TARGET_NOT_IN_NEXT)
    Macho::Next<Macho::To<Ajar>> on(const Press&) { return Macho::To<Open>(); }
#elif defined(RESULT_UNKNOWN)
    bool on(const Press&) { return true; }
#elif defined(STATE_IN_NEXT)
    Macho::Next<Open> on(const Press&) { return {}; }
#elif defined(NO_HISTORY)
    Macho::ToHistory<Ajar> on(const Press&) { return {}; }
#elif defined(WRONG_DATA)
    Macho::ToAdapted<Open, std::unique_ptr<int>> on(const Press&) { return {nullptr}; }
#elif defined(PARAMETER_NO_SUPER_STATE)
    void on(const Press&, Open& open) { open = {}; }
#elif defined(MUTABLE_EVENT)
    void on(Press& press) { press = {}; }
#elif defined(TWO_FOR_ONE_EVENT)
    Macho::To<Open> on(const Press&) { return {}; }
    void on(Press) {}
#elif defined(TWO_WITH_AND_WITHOUT_SUPER_STATE)
    Macho::To<Open> on(const Press&) { return {}; }
    void on(const Press&, Door&) {}
#else
    Macho::To<Open> on(const Press&) { return {}; }
#endif
#ifdef TARGET_IS_ROOT // Macho: the root is no target of a transition; its states are
#endif
#ifdef TARGET_NOT_IN_NEXT // Macho: on() returns what its Next<...> does not list; add it there
#endif
#ifdef RESULT_UNKNOWN // Macho: on() returns void, Stay, an initialiser (To, ToHistory, ToDeepHistory, ToAdapted) or Next<...>
#endif
#ifdef STATE_IN_NEXT // Macho: Next<...> lists initialisers: To, ToHistory, ToDeepHistory or ToAdapted of a state
#endif
#ifdef NO_HISTORY // Macho: the target of ToHistory and ToDeepHistory remembers nothing; add the option Remembered
#endif
#ifdef WRONG_DATA // Macho: the target of ToAdapted<Target, Data...> has no constructor for this data
#endif
#ifdef PARAMETER_NO_SUPER_STATE // Macho: on() takes a reference to a state that is neither the root nor one of its super-states
#endif
#ifdef MUTABLE_EVENT // Macho: on() takes its event by value or by reference to const
#endif
#ifdef TWO_FOR_ONE_EVENT // Macho: a state has more than one on() for this event, so that none can be called
#endif
#ifdef TWO_WITH_AND_WITHOUT_SUPER_STATE // Macho: a state has more than one on() for this event, so that none can be called
#endif

#ifdef TRANSITION_FROM_EXIT // Macho: on(Exit) cannot ask for a transition: one is under way; let it return void
    Macho::To<Open> on(Macho::Exit) { return {}; }
#endif
};

#ifdef INITIAL_STATE_OUTSIDE // Macho: InitialState<S> names a state that is no direct sub-state
struct Open : Macho::State<Door, Macho::InitialState<Closed>>
#elif defined(CIRCLE)
struct Open : Macho::State<Ajar>
#elif defined(UNKNOWN_OPTION)
struct Open : Macho::State<Door, Closed>
#elif defined(NO_STATE)
struct Open
#else
struct Open : Macho::State<Door, Macho::InitialState<Ajar>, Macho::Remembered>
#endif
#ifdef CIRCLE // Macho: states are super-states of each other in a circle
#endif
#ifdef UNKNOWN_OPTION // Macho: options of a state are InitialState<S>, Remembered and Kept, nothing else
#endif
#ifdef NO_STATE // Macho: what is listed in States<...> is no state: derive it from Macho::State<SuperState>
#endif
{
#ifdef NO_DEFAULT_CONSTRUCTOR // Macho: default and history entry need a default constructor of the state; it has none
    explicit Open(int) {}
#endif
    Macho::Next<Macho::To<Closed>, Macho::ToHistory<Open>> on(const Press&) { return {}; }
#ifdef UNUSED_TARGET_NOT_LISTED // CheckedTransition<Door, Open, Release, Macho::To<Elsewhere>
    Macho::To<Elsewhere> on(const Release&) { return {}; }
#endif
};

#ifdef FINAL_STATE // Macho: a state is not final
#endif
#ifdef TAKES_EVERYTHING // Macho: an on() is a template that takes any type, Entry and Exit among them
#endif
#ifdef PRIVATE_ON // private
class Ajar : public Macho::State<Open>
#elif defined(FINAL_STATE)
struct Ajar final : Macho::State<Open>
#else
struct Ajar : Macho::State<Open>
#endif
{
#ifdef WRONG_PARAMETERS // Macho: a state has an on(), but none that can be called
    void on(Macho::Entry, Door&, Open&, Door&) {}
#else
    void on(Macho::Entry) {}
#endif
#ifdef ONE_PRIVATE_ON // private
private:
    void on(const Press&) {}
#endif
#ifdef TAKES_EVERYTHING
    template<class Event>
    void on(const Event&)
    {}
#endif
};

void use()
{
    Macho::CMachine<Door> door;
    door.start();
    door.handle(Press());
#ifndef UNUSED_TARGET_NOT_LISTED
    door.handle(Release());
#endif
#ifdef EVENT_NOT_LISTED // Macho: this is no event of the machine; list it in the root's Events<...>
    door.handle(Stranger());
#endif
#ifdef ASKS_FOR_FOREIGN_STATE // Macho: this is no state of the machine; list it in the root's States<...>
    door.isIn<Elsewhere>();
#endif
    door.stop();
}
