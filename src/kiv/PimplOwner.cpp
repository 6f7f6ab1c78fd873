#include <kiv/PimplOwner.h>

namespace Kiv
{

CPimpl::~CPimpl() = default;

CPimplOwner::CPimplOwner(polymorphic_value<CPimpl>&& value) : implementation(std::move(value)) {}

CPimplOwner::CPimplOwner(const CPimplOwner& other) : implementation(other.implementation) { becomeOwner(); }

CPimplOwner::CPimplOwner(CPimplOwner&& other) noexcept : implementation(std::move(other.implementation))
{
    becomeOwner();
}

CPimplOwner& CPimplOwner::operator=(const CPimplOwner& other)
{
    implementation = other.implementation;
    becomeOwner();
    return *this;
}

CPimplOwner& CPimplOwner::operator=(CPimplOwner&& other) noexcept
{
    implementation = std::move(other.implementation);
    becomeOwner();
    return *this;
}

void CPimplOwner::becomeOwner()
{
    if (implementation)
        implementation->ownerObject = this;
}

} // namespace Kiv
