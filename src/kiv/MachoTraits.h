/// What Macho::CMachine asks the types of its states at compile time; not for applications.
///
/// States are numbered: the root is 0, the others follow in the order of the root's States. Relations between them are
/// computed on arrays of numbers, which compiles in a fraction of the time that recursion over types takes.
#ifndef KIV_MACHOTRAITS_H
#define KIV_MACHOTRAITS_H

#include <array>
#include <cstddef>
#include <string_view>
#include <type_traits>
#include <utility>

#include <kiv/MachoChart.h>
#include <kiv/MachoStates.h>

namespace Macho
{

template<class... Option>
struct StateSpecification<void, Option...>;

namespace detail
{

template<class T>
struct Type
{
    using Name = T;
};

template<std::size_t ItemNo>
using Number = std::integral_constant<std::size_t, ItemNo>;

constexpr std::size_t nowhere = static_cast<std::size_t>(-1);

template<std::size_t ItemNo, class T>
struct Numbered
{};

template<class Numbers, class... T>
struct NumberedTypes;

template<std::size_t... ItemNo, class... T>
struct NumberedTypes<std::index_sequence<ItemNo...>, T...> : Numbered<ItemNo, T>...
{};

template<class T, std::size_t ItemNo>
Number<ItemNo> numberIn(const Numbered<ItemNo, T>*);
template<class T>
Number<nowhere> numberIn(const void*);

template<std::size_t ItemNo, class T>
Type<T> typeIn(const Numbered<ItemNo, T>*);

/// A list of types with look-ups in both directions.
template<class... T>
struct TypeList
{
    using Types = NumberedTypes<std::make_index_sequence<sizeof...(T)>, T...>;

    static constexpr std::size_t count = sizeof...(T);

    template<class Wanted>
    static constexpr std::size_t number = decltype(numberIn<Wanted>(static_cast<const Types*>(nullptr)))::value;

    /// Looked up once, however often it is asked for.
    template<std::size_t WantedNo>
    struct Place
    {
        using Found = typename decltype(typeIn<WantedNo>(static_cast<const Types*>(nullptr)))::Name;
    };

    template<std::size_t WantedNo>
    using At = typename Place<WantedNo>::Found;

    /// No type is there twice: the look-up of one that is finds neither.
    static constexpr bool isSet() { return ((number<T> != nowhere) && ...); }
};

// ---- the words of a base clause

template<class Option>
struct OptionTraits
{
    static_assert(sizeof(Option) == 0,
                  "Macho: options of a state are InitialState<S>, Remembered and Kept, nothing else");
};
template<class SubState>
struct OptionTraits<InitialState<SubState>>
{
    using InitialType = SubState;
};
template<>
struct OptionTraits<Remembered>
{
    using InitialType = void;
};
template<>
struct OptionTraits<Kept>
{
    using InitialType = void;
};

template<class... Option>
struct InitialOf
{
    using Found = void;
};
template<class Option, class... More>
struct InitialOf<Option, More...>
{
    using Mine = typename OptionTraits<Option>::InitialType;
    using Found = std::conditional_t<std::is_void_v<Mine>, typename InitialOf<More...>::Found, Mine>;
};

template<class S, class = void>
struct HasSpecification : std::false_type
{};
template<class S>
struct HasSpecification<S, std::void_t<typename S::StateSpecification::Super>> : std::true_type
{};

// ---- names

template<class T>
constexpr std::string_view signatureOf()
{
    return __PRETTY_FUNCTION__;
}

/// Begin and length of a type's own name in signatureOf(): what stands behind "T = ", without scopes.
template<class T>
constexpr std::pair<std::size_t, std::size_t> placeOfName()
{
    const std::string_view signature = signatureOf<T>();
    std::size_t begin = signature.find("T = ") + 4;
    std::size_t end = begin;
    for (int depth = 0; end < signature.size(); ++end)
    {
        const char character = signature[end];
        depth += (character == '<' || character == '(' || character == '{') -
                 (character == '>' || character == ')' || character == '}');
        if (depth == 0 && (character == ';' || character == ']'))
            break;
        if (depth == 0 && character == ':')
            begin = end + 1;
    }
    return {begin, end - begin};
}

template<class T>
constexpr std::pair<std::size_t, std::size_t> nameInSignature = placeOfName<T>();

template<class T, std::size_t... Place>
constexpr std::array<char, sizeof...(Place) + 1> typeName(std::index_sequence<Place...> /*places*/)
{
    constexpr std::size_t begin = nameInSignature<T>.first;
    return {signatureOf<T>()[begin + Place]..., '\0'};
}

template<class T>
constexpr auto ownName = typeName<T>(std::make_index_sequence<nameInSignature<T>.second>());

template<class T, class = void>
struct NameOf
{
    static constexpr const char* name() { return ownName<T>.data(); }
};
template<class T>
struct NameOf<T, std::enable_if_t<std::is_convertible_v<decltype(T::name), const char*>>>
{
    static constexpr const char* name() { return T::name; }
};

// ---- what a state's on() takes and returns

/// Stands for the references that an on() takes besides its event.
struct AnySuperState
{
    template<class Wanted>
    operator Wanted&() const;
};

template<class T>
T& some();

/// std::conditional without a type of its own for each pair.
template<bool First>
struct Choose
{
    template<class One, class Two>
    using Of = One;
};
template<>
struct Choose<false>
{
    template<class One, class Two>
    using Of = Two;
};

struct NoForm
{
    static constexpr bool value = false;
    static constexpr bool isAmbiguous = false;
    using Result = void;
};

/// How an on() is called, with how many parameters besides its event, and what it returns.
template<std::size_t ExtraParameters, class OnResult>
struct Form
{
    static constexpr bool value = true;
    static constexpr bool isAmbiguous = false;
    using Result = OnResult;
    using Extra = std::make_index_sequence<ExtraParameters>;
};

/// Several on() for one event.
struct AmbiguousForm : NoForm
{
    static constexpr bool isAmbiguous = true;
};

/// What calls with none, one and two extra parameters return tells the form.
template<class None, class One, class Two>
struct FormOf : AmbiguousForm
{};
template<>
struct FormOf<NoForm, NoForm, NoForm> : NoForm
{};
template<class Result>
struct FormOf<Result, NoForm, NoForm> : Form<0, Result>
{};
template<class Result>
struct FormOf<NoForm, Result, NoForm> : Form<1, Result>
{};
template<class Result>
struct FormOf<NoForm, NoForm, Result> : Form<2, Result>
{};

struct HasOn
{
    int on;
};
template<class S>
struct WithSecondOn : S, HasOn
{
    static_assert(!std::is_final_v<S>,
                  "Macho: a state is not final: looking for its on() takes a class derived from it");
};

/// True if the state has any member on(), be it private: looking it up beside another one is ambiguous then.
template<class S, class = void>
struct NamesOn : std::true_type
{};
template<class S>
struct NamesOn<S, std::void_t<decltype(&WithSecondOn<S>::on)>> : std::false_type
{};

/// A state with one more on(), which is called if no other can be. So a call that fails nevertheless has found several.
/// An on() that is private ends the compilation here.
template<class S, bool NamesOn>
struct Asked : S
{
    using S::on;
    NoForm on(...);
};
template<class S>
struct Asked<S, false>
{
    NoForm on(...);
};

template<int Value>
struct Rank : Rank<Value - 1>
{};
template<>
struct Rank<0>
{};

// Functions and not classes: they are looked at for each state with each event, and this takes the compiler least.
template<class S, class Event, class... Extra>
auto answer(Rank<1>) -> decltype(some<Asked<S, NamesOn<S>::value>>().on(some<Event>(), some<Extra>()...));
template<class S, class Event, class... Extra>
AmbiguousForm answer(Rank<0>);

/// True if the state has any on() with these parameters besides the event: otherwise no event needs to be asked about.
template<class S, class... Extra>
constexpr bool isWorthAsking = !std::is_same_v<decltype(answer<S, AnySuperState, Extra...>(Rank<1>())), NoForm>;

template<bool IsWorthAsking>
struct Ask
{
    template<class S, class Event, class... Extra>
    using Answer = decltype(some<Asked<S, NamesOn<S>::value>>().on(some<Event>(), some<Extra>()...));
};
template<>
struct Ask<false>
{
    template<class S, class Event, class... Extra>
    using Answer = NoForm;
};
template<class S, class Event, class... Extra>
using Answer = typename Ask<isWorthAsking<S, Extra...>>::template Answer<S, Event, Extra...>;

template<class S, class Event>
auto formOf(Rank<1>)
    -> FormOf<Answer<S, Event>, Answer<S, Event, AnySuperState>, Answer<S, Event, AnySuperState, AnySuperState>>;
template<class S, class Event>
AmbiguousForm formOf(Rank<0>);

/// The on() of a state for an event, if it has one.
template<class S, class Event>
struct Handler : decltype(formOf<S, Event>(Rank<1>()))
{};

/// The on() of a state that an event goes to, if it has one: its own, or that for Other.
template<class S, class Event>
using EventHandler = typename Choose<Handler<S, Event>::value>::template Of<Handler<S, Event>, Handler<S, Other>>;

// ---- what an initialiser says

template<class Initialiser>
struct Way;
template<class S>
struct Way<To<S>>
{
    using Target = S;
    static constexpr eEntryKind kind = EntryDefault;
};
template<class S>
struct Way<ToHistory<S>>
{
    using Target = S;
    static constexpr eEntryKind kind = EntryHistory;
};
template<class S>
struct Way<ToDeepHistory<S>>
{
    using Target = S;
    static constexpr eEntryKind kind = EntryDeepHistory;
};
template<class S, class... Data>
struct Way<ToAdapted<S, Data...>>
{
    using Target = S;
    static constexpr eEntryKind kind = EntryAdapting;
};

/// The initialisers that a result of on() may ask for.
template<class Result>
struct Ways
{
    static_assert(
        isInitialiser<Result>,
        "Macho: on() returns void, Stay, an initialiser (To, ToHistory, ToDeepHistory, ToAdapted) or Next<...>");
    using Types = TypeList<Result>;
};
template<>
struct Ways<void>
{
    using Types = TypeList<>;
};
template<>
struct Ways<Stay>
{
    using Types = TypeList<>;
};
template<class... Initialiser>
struct Ways<Next<Initialiser...>>
{
    using Types = TypeList<Initialiser...>;
};

template<class Result>
constexpr bool asks = Ways<Result>::Types::count > 0;

// ---- the states of a machine in numbers

/// A plain array: the compiler calls operators of std::array function by function when it computes with them.
template<std::size_t Count>
struct NumberTable
{
    std::size_t at[Count];
};

/// Of two states the innermost one that contains the first or is it, and contains the second without being it.
template<std::size_t Count>
constexpr std::size_t commonSuperState(const NumberTable<Count>& superStates, std::size_t from, std::size_t target)
{
    for (std::size_t common = superStates.at[target];; common = superStates.at[common])
        for (std::size_t state = from;; state = superStates.at[state])
        {
            if (state == common)
                return common;
            if (state == 0)
                break;
        }
}

/// True if `inner` is `outer` or lies in it.
template<std::size_t Count>
constexpr bool isWithin(const NumberTable<Count>& superStates, std::size_t inner, std::size_t outer)
{
    while (inner != outer && inner != 0)
        inner = superStates.at[inner];
    return inner == outer;
}

} // namespace detail

template<class SuperState, class... Options>
struct StateSpecification
{
    using Super = SuperState;
    using First = typename detail::InitialOf<Options...>::Found;
    static constexpr bool isRemembered = (std::is_same_v<Options, Remembered> || ...);
    static constexpr bool isKept = (std::is_same_v<Options, Kept> || ...);
};

template<class... Event, class... S, class FirstState>
struct StateSpecification<void, Events<Event...>, States<S...>, InitialState<FirstState>>
{
    using Super = void;
    using First = FirstState;
    using EventTypes = detail::TypeList<Event...>;
    template<class Root>
    using StateTypes = detail::TypeList<Root, S...>;
    static constexpr bool isRemembered = false;
    static constexpr bool isKept = false;
};

} // namespace Macho

#endif
