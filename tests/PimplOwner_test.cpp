#include <kiv/PimplOwner.h>

#include <stdexcept>
#include <string>

#include <gtest/gtest.h>

using Kiv::CPimpl;
using Kiv::CPimplOwner;
using Kiv::make_polymorphic_value;
using Kiv::polymorphic_value;

namespace
{

int livingImpls = 0;

struct Impl : CPimpl
{
    Impl(CPimplOwner* owner, std::string implText) : CPimpl(owner), text(std::move(implText)) { ++livingImpls; }
    Impl(const Impl& other) : CPimpl(other), text(other.text)
    {
        if (text == "cannot be copied")
            throw std::runtime_error(text);
        ++livingImpls;
    }
    ~Impl() override { --livingImpls; }

    virtual std::string kind() const { return "plain " + text; }

    std::string text;
};

struct SpecialImpl : Impl
{
    using Impl::Impl;
    std::string kind() const override { return "special " + text; }
};

/// A class as applications write it.
class Thing : public CPimplOwner
{
public:
    explicit Thing(const std::string& text) : CPimplOwner(make_polymorphic_value<CPimpl, SpecialImpl>(this, text)) {}
    explicit Thing(polymorphic_value<CPimpl>&& value) : CPimplOwner(std::move(value)) {}

    Impl* impl() { return pimpl<Impl>(); }
    const Impl* impl() const { return pimpl<Impl>(); }
};

void expectOwns(const Thing& thing, const std::string& kind)
{
    ASSERT_NE(thing.impl(), nullptr);
    EXPECT_EQ(thing.impl()->kind(), kind);
    EXPECT_EQ(thing.impl()->owner(), &thing);
}

Thing empty()
{
    Thing source("moved away");
    const Thing target(std::move(source));
    return source; // NOLINT: an empty one is what is wanted
}

} // namespace

TEST(PimplOwner, CopyHasAnImplementationOfItsOwnOfTheSameType)
{
    Thing source("a");
    Thing copy(source);
    source.impl()->text = "b";
    expectOwns(copy, "special a");
    expectOwns(source, "special b");
    copy = source;
    source.impl()->text = "c";
    expectOwns(copy, "special b");
    expectOwns(source, "special c");
    EXPECT_EQ(livingImpls, 2);
}

TEST(PimplOwner, MoveHandsTheVeryObjectOver)
{
    Thing source("a");
    const Impl* const object = source.impl();
    Thing target(std::move(source));
    EXPECT_EQ(target.impl(), object);
    expectOwns(target, "special a");
    EXPECT_EQ(source.impl(), nullptr);
    source = std::move(target);
    EXPECT_EQ(source.impl(), object);
    expectOwns(source, "special a");
    EXPECT_EQ(target.impl(), nullptr);
    EXPECT_EQ(livingImpls, 1);
}

TEST(PimplOwner, SelfAssignmentKeepsTheObject)
{
    Thing thing("a");
    const Impl* const object = thing.impl();
    Thing& same = thing;
    thing = same;
    EXPECT_EQ(thing.impl(), object);
    thing = std::move(same);
    EXPECT_EQ(thing.impl(), object);
    expectOwns(thing, "special a");
}

TEST(PimplOwner, EmptyOwnersMakeTheirTargetsEmpty)
{
    Thing source = empty();
    const Thing copy(source);
    EXPECT_EQ(copy.impl(), nullptr);
    const Thing moved(std::move(source));
    EXPECT_EQ(moved.impl(), nullptr);
    Thing target("a");
    target = copy;
    EXPECT_EQ(target.impl(), nullptr);
    target = Thing("b");
    expectOwns(target, "special b");
    target = empty();
    EXPECT_EQ(target.impl(), nullptr);
    EXPECT_EQ(livingImpls, 0);
}

TEST(PimplOwner, FreshValueKeepsTheOwnerItWasCreatedWith)
{
    Thing other("a");
    Thing thing(make_polymorphic_value<CPimpl, Impl>(&other, "b"));
    EXPECT_EQ(thing.impl()->owner(), &other);
    thing = static_cast<const Thing&>(thing);
    expectOwns(thing, "plain b");
}

TEST(PimplOwner, FailedCopyChangesNothing)
{
    Thing target("a");
    Thing source("cannot be copied");
    EXPECT_THROW(target = source, std::runtime_error);
    expectOwns(target, "special a");
    expectOwns(source, "special cannot be copied");
    EXPECT_THROW(Thing{source}, std::runtime_error);
    EXPECT_EQ(livingImpls, 2);
}

TEST(PolymorphicValue, CopiesByTheTypeThatItWasGiven)
{
    struct Base // no virtual function, and not at the start of the object that holds it
    {
        int base = 1;
    };
    struct Front
    {
        int front = 2;
    };
    struct Both : Front, Base
    {
        std::string text = "long enough to stand on the heap";
    };

    for (auto value : {polymorphic_value<Base>(new Both), make_polymorphic_value<Base, Both>()})
    {
        polymorphic_value<Base> copy;
        EXPECT_FALSE(copy);
        copy = value;
        value->base = 3;
        ASSERT_TRUE(copy);
        EXPECT_EQ(copy->base, 1);
        EXPECT_EQ(static_cast<Both&>(*copy).text, static_cast<Both&>(*value).text);
        EXPECT_EQ(static_cast<Both&>(*copy).front, 2);
    }
    EXPECT_FALSE(polymorphic_value<Base>(static_cast<Both*>(nullptr)));
    EXPECT_EQ(*make_polymorphic_value<int>(7), 7);
}
