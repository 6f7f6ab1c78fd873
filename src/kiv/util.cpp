#include <kiv/util.h>

namespace Kiv
{

std::string getApplicationFilePath() { return CApplicationPath().filePath; }

std::string getApplicationDirPath() { return CApplicationPath().dirPath; }

} // namespace Kiv
