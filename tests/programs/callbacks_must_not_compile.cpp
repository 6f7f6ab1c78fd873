// What must not compile with signals and callbacks, and the message that says why. tests/support/must-not-compile
// compiles this file once without any macro, which must work, and once with each macro that a line
// "#ifdef MACRO // message" names.

#include <string>

#include <kiv/Callback.h>
#include <kiv/sigslot.h>

// A message stands in one line.
// clang-format off

struct Lamp : sigslot::has_slots<>
{
    void set(int) {}
    void setNoexcept(int) noexcept {}
    void show(int) const {}
    void overloaded(int) {}
    void overloaded(const std::string&) {}
    void setText(std::string) {}
    bool ask(int) { return true; }
    void setTwo(int, int) {}
};

struct Wall
{
    void set(int) {}
    void setTwo(int, int) {}
};

void signals()
{
    sigslot::signal1<int> signal;
    Lamp lamp;
    signal.connect(&lamp, &Lamp::set);
    signal.connect(&lamp, &Lamp::setNoexcept);
    signal.connect(&lamp, &Lamp::show);
    signal.connect(&lamp, &Lamp::overloaded);
#ifdef OTHER_ARGUMENT // an operation that a signal calls returns void and takes one argument, of exactly the signal's type
    signal.connect(&lamp, &Lamp::setText);
#endif
#ifdef OTHER_RESULT // an operation that a signal calls returns void and takes one argument, of exactly the signal's type
    signal.connect(&lamp, &Lamp::ask);
#endif
#ifdef TWO_ARGUMENTS // an operation that a signal calls returns void and takes one argument, of exactly the signal's type
    signal.connect(&lamp, &Lamp::setTwo);
#endif
#ifdef NO_RECEIVER // the member function takes the signal's argument, or none
    Wall wall;
    auto kept = signal.connect(&wall, &Wall::setTwo);
#endif
#ifdef CALLABLE // what is connected takes the signal's argument, or none
    auto called = signal.connect([](std::string) {});
#endif
#ifdef OPERATION_OF_ANOTHER // the operation belongs to the receiver or to one of its bases
    signal.connect(&lamp, &Wall::set);
#endif
}

void callbacks()
{
    Lamp lamp;
    int number = 0;
    cb::Callback0<int> sum([&lamp, &number] { return lamp.ask(number) ? number : 0; });
    cb::Callback1<bool, int> asked(&lamp, &Lamp::ask);
#ifdef TOO_LARGE // a callback holds at most 24 bytes: capture less, or a pointer to it
    const char text[64] = {};
    sum = cb::Callback0<int>([text] { return int{text[0]}; });
#endif
#ifdef NOT_TRIVIAL // a callback holds only what is trivially copyable
    const std::string text;
    sum = cb::Callback0<int>([text] { return static_cast<int>(text.size()); });
#endif
#ifdef ARGUMENT_MISSING // CallbackBase(F
    sum = cb::Callback0<int>([](int added) { return added; });
#endif
#ifdef RESULT_MISSING // CallbackBase(F
    sum = cb::Callback0<int>([] {});
#endif
#ifdef MUTABLE // CallbackBase(F
    sum = cb::Callback0<int>([number]() mutable { return ++number; });
#endif
}
