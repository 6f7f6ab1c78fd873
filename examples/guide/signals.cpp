// One sender, receivers that come and go, and a callback.

// [signals]
#include <cstdio>

#include <kiv/Callback.h>
#include <kiv/sigslot.h>

class CSensor
{
public:
    sigslot::signal1<int> sigChanged;

    void set(int value) { sigChanged(value); } // calls the receivers here and now, on this thread
};

class CDisplay : public sigslot::has_slots<> // unhooks itself when it is destroyed
{
public:
    explicit CDisplay(const char* displayName) : name(displayName) {}
    void show(int value) { std::printf("%s: %d\n", name, value); }

private:
    const char* name;
};

int main()
{
    CSensor sensor;
    CDisplay panel("panel");
    sensor.sigChanged.connect(&panel, &CDisplay::show);
    {
        CDisplay visitor("visitor");
        sensor.sigChanged.connect(&visitor, &CDisplay::show);
        sensor.set(1);
    }
    sensor.set(2);

    cb::Callback1<void, int> log = [](int value) { std::printf("logged %d\n", value); };
    if (log) // an empty one throws when it is called
        log(3);
}
// [signals]
