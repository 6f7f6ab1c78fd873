#include <kiv/EnumHelpers.h>

#include <climits>

#include <gtest/gtest.h>

namespace
{

const std::string none = "(none)";

/// The value of a name that must be there.
int valueOf(const Kiv::CEnumStringMap& map, const std::string& text)
{
    bool ok = false;
    const int value = map.toEnum(text, &ok);
    EXPECT_TRUE(ok) << text;
    return value;
}

bool knows(const Kiv::CEnumStringMap& map, const std::string& text)
{
    bool ok = true;
    EXPECT_EQ(map.toEnum(text, &ok), ok ? map.toEnum(text) : 0) << text;
    return ok;
}

} // namespace

TEST(EnumHelpers, WhatIsNotThereGivesZeroAndTheCallersOwnDefault)
{
    Kiv::CEnumStringMap map;
    EXPECT_FALSE(knows(map, ""));
    EXPECT_EQ(&map.toString(0, none), &none);
    map.insert(0, "Off");
    EXPECT_EQ(valueOf(map, "Off"), 0);
    for (const char* other : {"off", "Off ", "Of", "Offs", ""})
        EXPECT_FALSE(knows(map, other)) << other;
    EXPECT_FALSE(knows(map, std::string("Off\0", 4)));
    EXPECT_EQ(map.toEnum("On", nullptr), 0);
    EXPECT_EQ(&map.toString(1, none), &none);
}

TEST(EnumHelpers, FirstPairOfAValueOrANameStays)
{
    Kiv::CEnumStringMap map;
    map.insert(1, "A");
    map.insert(1, "B");
    EXPECT_EQ(map.toString(1, none), "A");
    EXPECT_EQ(valueOf(map, "B"), 1);
    map.insert(2, "A");
    EXPECT_EQ(valueOf(map, "A"), 1);
    EXPECT_EQ(map.toString(2, none), "A");
    map.insert(INT_MIN, "");
    EXPECT_EQ(valueOf(map, ""), INT_MIN);
    EXPECT_EQ(map.toString(INT_MIN, none), "");
}
