/// Numbers and times of day as people write them into files.
#ifndef KIV_PUMPSTATION_FIGURES_H
#define KIV_PUMPSTATION_FIGURES_H

#include <optional>
#include <string>

namespace PumpStation
{

/// The value of a plain decimal number, "12" or "0.5"; nothing for any other text. Blanks around it do not count.
std::optional<double> toNumber(const std::string& text);

/// The seconds since midnight of a time from "00:00" to "99:59", on the next day from "24:00" on; nothing for any other
/// text. Blanks around it do not count.
std::optional<int> toSeconds(const std::string& text);

/// The other way round: "07:30"; seconds are cut off.
std::string clockText(int seconds);

} // namespace PumpStation

#endif
