/// What the library's own threads do for the crash report.
#ifndef KIV_CRASHHOOKS_H
#define KIV_CRASHHOOKS_H

namespace Kiv
{
namespace Diag
{

/// Gives the calling thread a signal stack if crash reports are installed.
void prepareLibraryThread();

} // namespace Diag
} // namespace Kiv

#endif
