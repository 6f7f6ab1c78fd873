/// The GPIO character device by its ioctls (linux/gpio.h, second version): chips that are open, and texts of fixed
/// size.
#ifndef KIV_GPIODEVICE_H
#define KIV_GPIODEVICE_H

#include <algorithm>
#include <cstring>
#include <string>

#include <linux/gpio.h>
#include <sys/ioctl.h>

#include <kiv/GpioChips.h>

#include "kiv/env/unix/helper/SystemCall.h"

namespace Kiv
{

/// One ioctl; 0 or a negated code.
template<class Argument>
int gpioCall(const CDescriptor& descriptor, unsigned long call, Argument& argument)
{
    return uninterrupted([&] { return ::ioctl(descriptor.get(), call, &argument); }) < 0 ? negatedErrno() : 0;
}

/// The kernel's text, which need not end with NUL.
template<std::size_t Size>
std::string textOf(const char (&bytes)[Size])
{
    return std::string(bytes, strnlen(bytes, Size));
}

/// Cut to fit, with NUL at its end.
template<std::size_t Size>
void setText(char (&bytes)[Size], const std::string& text)
{
    const std::size_t size = std::min(text.size(), Size - 1);
    std::memcpy(bytes, text.data(), size);
    bytes[size] = '\0';
}

/// Opens a chip by its device or its label and tells what it is; 0 or a negated code.
int openGpioChip(const std::string& chip, CDescriptor& descriptor, GpioChipInfo& info);

/// Asks an open chip for a line.
int askGpioLine(const CDescriptor& chip, unsigned int offset, GpioLineInfo& info);

} // namespace Kiv

#endif
