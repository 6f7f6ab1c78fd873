// What kiv does with GPIO lines where there is only the character device, with a kernel that this program plays itself.
#include "GpioDevice.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Command.h"
#include "support/FakeGpioDevice.h"

using testing::HasSubstr;

namespace
{

/// Why a line is refused.
template<class Call>
std::string refusal(Call call)
{
    try
    {
        call();
    }
    catch (const Tool::CToolError& error)
    {
        return std::to_string(error.status()) + ' ' + error.what();
    }
    return "";
}

} // namespace

TEST(KivGpioDevice, LinesAreReadSetAndListed)
{
    CFakeGpio fake;
    fake.addChip("gpiochip0", {"soc", {{"lamp", "", true, 0}, {"", "pump-driver", false, GPIO_V2_LINE_FLAG_OUTPUT}}});
    EXPECT_EQ(Tool::deviceValue(Tool::deviceLine("soc:0")), 1);
    Tool::setDeviceLine(Tool::deviceLine("lamp"), "0");
    EXPECT_EQ(Tool::deviceValue(Tool::deviceLine("gpiochip0:0")), 0);
    Tool::setDeviceLine(Tool::deviceLine("lamp"), "in");
    EXPECT_EQ(fake.requested.config.flags, GPIO_V2_LINE_FLAG_INPUT);
    const auto chips = Tool::deviceChips();
    ASSERT_EQ(chips.size(), 1U);
    EXPECT_EQ(chips[0].label + ' ' + chips[0].place, "soc /dev/gpiochip0");
    EXPECT_EQ(chips[0].lines[0].name + ' ' + chips[0].lines[0].use, "lamp free");
    EXPECT_EQ(chips[0].lines[1].direction + ' ' + chips[0].lines[1].holder, "out pump-driver");
    EXPECT_THAT(refusal([] { Tool::deviceValue(Tool::deviceLine("soc:1")); }),
                HasSubstr("3 line soc:1: Resource busy, held by pump-driver"));
    EXPECT_THAT(refusal([] { Tool::deviceLine("soc:2"); }), HasSubstr("2 GPIO chip soc has the lines 0 to 1, not 2"));
    EXPECT_THAT(refusal([] { Tool::deviceLine("504"); }), HasSubstr("2 no GPIO line: 504"));
    EXPECT_THAT(refusal([] { Tool::deviceLine("door"); }), HasSubstr("2 no GPIO line: door"));
    EXPECT_THAT(refusal([] { Tool::deviceLine("none:0"); }), HasSubstr("3 GPIO chip none: No such device"));
}
