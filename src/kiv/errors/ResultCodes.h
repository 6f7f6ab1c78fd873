/// The results that the library gives of its own accord, where no errno stands behind a failure.
#ifndef KIV_RESULTCODES_H
#define KIV_RESULTCODES_H

namespace Kiv
{

// Codes of <kiv/err_codes.h>, negated as results are.
constexpr int operationNotPermitted = -1;
constexpr int noSuchEntity = -2;
constexpr int inputOutputError = -5;
constexpr int badDescriptor = -9;
constexpr int resourceBusy = -16;
constexpr int noSuchDevice = -19;
constexpr int invalidArgument = -22;
constexpr int illegalText = -31;
constexpr int outOfRange = -34;
constexpr int alreadyThere = -302;
constexpr int operationCanceled = -36;
constexpr int operationTimedOut = -208;
constexpr int noDataAvailable = -0x207;
constexpr int badMessage = -0x404A;

} // namespace Kiv

#endif
