// A program that leaves a report when it crashes, and does so on demand.

// [crash_report]
#include <cstdio>
#include <cstdlib>

#include <kiv/CrashReport.h>
#include <kiv/ErrorToString.h>

[[gnu::noinline]] void overfill() { std::abort(); } // the fault, where the report has to lead

int main(int argc, char**)
{
    if (const int error = Kiv::Diag::installCrashReport("controller-crash.txt"))
        std::printf("no crash reports: %s\n", ErrorToString(static_cast<ErrCode>(error)));
    if (argc > 1) // for a trial
        overfill();
    std::puts("running");
}
// [crash_report]
