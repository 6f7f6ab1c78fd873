/// A PWM channel's attributes as one value, by the folder in which they are.
#ifndef KIV_PWMWAVES_H
#define KIV_PWMWAVES_H

#include <string>

#include <kiv/PwmOutput.h>

namespace Kiv
{

/// 0, or a code, and then the wave stays.
int readPwmWave(const std::string& folder, PwmWave& wave);

/// Leads the channel there in the order that every kernel takes. A period of 0 changes nothing but switches off. After
/// a refusal `refusedAt` is the file that it came from.
int changePwmWave(const std::string& folder, const PwmWave& wanted, std::string& refusedAt);

} // namespace Kiv

#endif
