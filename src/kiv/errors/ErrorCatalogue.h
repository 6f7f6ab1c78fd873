/// The texts of the library's error codes; private to the library, callers ask ErrorToString().
#ifndef KIV_ERRORCATALOGUE_H
#define KIV_ERRORCATALOGUE_H

#include <cstddef>
#include <cstdint>

namespace Kiv
{

/// One code with its text.
struct ErrorMessage
{
    std::int32_t code;
    const char* text;
};

// Ascending by code but for two things that callers of ErrorToStringPriv() rely on: 93 stands behind 200, where a
// binary search does not find it, and 11 and 35 have two rows each. Every text is part of the library's contract, down
// to the blank at the end of 0x30B.
// clang-format off
inline constexpr ErrorMessage errorCatalogue[] = {
    // Success
    {0, "No error"},
    // System error conditions
    {1, "Operation not permitted"},
    {2, "No such entity"},
    {3, "No such process"},
    {4, "Operation interrupted"},
    {5, "I/O error"},
    {6, "Argument list too long"},
    {7, "Executable format error"},
    {8, "No child process"},
    {9, "Bad file handle"},
    {10, "Too many links"},
    {11, "Resource unavailable - try again later"},
    {11, "Try again later"},
    {12, "Out of memory"},
    {13, "Permission denied"},
    {14, "Bad address"},
    {15, "No lock available"},
    {16, "Resource busy"},
    {18, "Cross-device link"},
    {19, "No such device"},
    {20, "Not a directory"},
    {21, "Is a directory"},
    {22, "Invalid argument"},
    {23, "Too many open files in system"},
    {24, "Too many open files"},
    {25, "Not a typewriter"},
    {27, "File too large"},
    {28, "No space left on device"},
    {29, "Illegal seek"},
    {30, "Read-only file system"},
    {31, "Illegal byte sequence"},
    {32, "Broken pipe"},
    {33, "Argument to math function outside valid domain"},
    {34, "Math result cannot be represented"},
    {35, "Resource deadlock would occur"},
    {35, "Resource deadlock would occur"},
    {36, "Operation canceled"},
    {37, "Value too large"},
    {38, "Function not implemented"},
    {39, "Owner dead"},
    {40, "Too many symbolic links encountered"},
    {60, "File name too long"},
    {66, "Directory not empty"},
    {88, "Socket operation on non-socket"},
    {89, "Destination address required"},
    {92, "Protocol not available"},
    {95, "Not supported error"},
    {97, "Address family not supported by protocol"},
    {98, "Address already in use"},
    {99, "Cannot assign requested address"},
    {105, "No buffer space available"},
    {122, "Quota exceeded"},
    {123, "Block device required"},
    {124, "Text file busy"},
    {125, "No message of desired type"},
    {126, "Identifier removed"},
    {127, "Channel number out of range"},
    {128, "Level 2 not synchronized"},
    {129, "Level 3 halted"},
    {130, "Level 3 reset"},
    {131, "Link number out of range"},
    {132, "Protocol driver not attached"},
    {133, "No CSI structure available"},
    {134, "Level 2 halted"},
    {135, "Invalid exchange"},
    {136, "Invalid request descriptor"},
    {137, "Exchange full"},
    {138, "No anode"},
    {139, "Invalid request code"},
    {140, "Invalid slot"},
    // General outcomes
    {200, "End of file reached"},
    {93, "Protocol not supported"},
    {201, "Operation not supported"},
    {202, "Device does not support this operation"},
    {203, "Unknown error or unknown error code"},
    {208, "Operation timed out"},
    // Device, socket and network conditions
    {300, "Device not configured"},
    {301, "Permission denied"},
    {302, "File exists"},
    {303, "Inappropriate ioctl for device"},
    {304, "Broken pipe"},
    {310, "Operation now in progress"},
    {311, "Operation already in progress"},
    {320, "Socket operation on non-socket"},
    {321, "Destination address required"},
    {322, "Message too long"},
    {323, "Protocol wrong type for socket"},
    {324, "Protocol not available"},
    {325, "Protocol not supported"},
    {326, "Socket type not supported"},
    {327, "Operation not supported"},
    {328, "Protocol family not supported"},
    {329, "Address family not supported by protocol family"},
    {330, "Address already in use"},
    {331, "Can't assign requested address"},
    {350, "Network is down"},
    {351, "Network is unreachable"},
    {352, "Network dropped connection on reset"},
    {353, "Software caused connection abort"},
    {354, "Connection reset by peer"},
    {355, "No buffer space available"},
    {356, "Socket is already connected"},
    {357, "Socket is not connected"},
    {358, "Can't send after socket shutdown"},
    {359, "Too many references: can't splice"},
    {360, "Operation timed out"},
    {361, "Connection refused"},
    {364, "Host is down"},
    {365, "No route to host"},
    // Application-independent operation errors
    {0x200, "User aborted something"},
    {0x201, "Value range of parameter exceeded"},
    {0x202, "Unknown error - no specific error information available"},
    {0x203, "Unexpected exception during program execution"},
    {0x204, "Invalid device configuration"},
    {0x205, "Wrong device state for requested operation"},
    {0x206, "Could not start operation because of an empty list"},
    {0x207, "No data available"},
    {0x208, "Object, data or instance already exists"},
    {0x209, "Plugin loading error - plugin not found or plugin is not a valid shared library"},
    {0x20A, "Write access to read-only data"},
    // Serial line
    {0x240, "Data link layer error (error of RS232 connection)"},
    {0x241, "Timeout during communication (i.e. RS232 communication)"},
    {0x242, "Communication interface hardware error (i.e. RS232 interface)"},
    {0x243, "Common RS232 communication protocol error"},
    {0x244, "RS232 CRC error in protocol frame"},
    {0x246, "Illegal or unknown RS232 communication command"},
    {0x247, "RS232 Interface: Received invalid or no positive acknowledge"},
    {0x248, "RS232 Protocol error: wrong data length code in communication frame"},
    {0x249, "RS232 Protocol error: invalid frame format or stuffing error"},
    // CAN data link layer
    {0x300, "CAN Data link layer error"},
    {0x301, "CAN controller hardware error"},
    {0x302, "CAN Transmit queue full"},
    {0x303, "CAN Transmit error counter (TEC) reached warning level (>96)"},
    {0x304, "CAN Receive error counter (REC) reached warning level (>96)"},
    {0x305, "CAN error passive occurred"},
    {0x306, "CAN bus off error occurred"},
    {0x307, "Overrun in CAN receive queue or CAN hardware occurred"},
    {0x308, "Overrun in CAN transmit queue occurred"},
    {0x309, "A CAN bit or frame error occurred"},
    {0x30A, "CAN bus arbitration lost"},
    {0x30B, "General failure of physical CAN layer detected "},
    {0x30C, "Fault on CAN-H detected (Low Speed CAN)"},
    {0x30D, "Fault on CAN-L detected (Low Speed CAN)"},
    {0x30E, "Function could not be performed because of CAN hard- or software errors"},
    {0x30F, "CAN interface resource error - The resource limit exceeded at creation of a queue or something else"},
    {0x310, "A CAN message couldn't be sent for a long time - cable error, wrong baud rate etc."},
    {0x311, "CAN hardware could not be found - please check if hardware is plugged in correctly"},
    {0x312, "Initialization of CAN hardware failed - maybe device is busy by another application"},
    {0x313, "CAN interface function is not supported this way"},
    {0x314, "CAN interface calling parameter(s) is (are) not correct or out of range"},
    {0x315, "Configuration of CAN device failed or configuration not supported"},
    {0x316, "Receive queue of CAN controller is empty."},
    {0x317, "CAN driver is not initialized or already closed."},
    {0x318, "Desired CAN baud rate is not supported."},
    {0x319, "Timeout executing CAN controller operation"},
    {0x31A, "Error loading CAN hardware device drivers - please check if device drivers are properly installed."},
    {0x320, "CAN controller buffer overflow error"},
    {0x321, "Error accessing CAN socket"},
    {0x322, "CAN hardware has been removed. Either a USB connector has been unplugged or another problem with the CAN hardware has occurred."},
    {0x333, "A CAN message couldn't be sent because the CAN interface is not initialized or not connected"},
    // CAN application layer
    {0x340, "CAN application layer error"},
    {0x341, "No CAN devices detected on bus"},
    // CANopen SDO transfer
    {0x400, "SDO transfer error"},
    {0x401, "SDO transfer aborted"},
    {0x402, "SDO transfer error - toggle bit not altered"},
    {0x403, "SDO transfer error - SDO protocol timed out"},
    {0x404, "SDO transfer error - client/server command specifier not valid or unknown"},
    {0x405, "SDO transfer error - invalid block size in block mode"},
    {0x406, "SDO transfer error - invalid sequence number in block mode"},
    {0x407, "SDO transfer error - CRC error"},
    {0x408, "SDO transfer error - Out of memory"},
    {0x409, "SDO transfer error - unsupported access to an object"},
    {0x40A, "SDO transfer error - attempt to read a write only object"},
    {0x40B, "SDO transfer error - attempt to write a read only object"},
    {0x40C, "SDO transfer error - object does not exist in the object dictionary"},
    {0x40D, "SDO transfer error - object cannot be mapped to the PDO"},
    {0x40E, "SDO transfer error - the number and length of the objects to be mapped would exceed PDO length"},
    {0x40F, "SDO transfer error - general parameter incompatibility reason"},
    {0x410, "SDO transfer error - general internal incompatibility in device"},
    {0x411, "SDO transfer error - access failed due to an hardware error"},
    {0x412, "SDO transfer error - data type does not match, length of service parameter does not match"},
    {0x413, "SDO transfer error - data type does not match, length of service parameter too high"},
    {0x414, "SDO transfer error - data type does not match, length of service parameter too short"},
    {0x415, "SDO transfer error - sub-index does not exist"},
    {0x416, "SDO transfer error - invalid value for parameter"},
    {0x417, "SDO transfer error - value of parameter written too high"},
    {0x418, "SDO transfer error - value of parameter written too low"},
    {0x419, "SDO transfer error - maximum value is less than minimum value"},
    {0x41A, "SDO transfer error - Resource not available: SDO connection"},
    {0x41B, "SDO transfer error - general error"},
    {0x41C, "SDO transfer error - data cannot be transfered or stored to application"},
    {0x41D, "SDO transfer error - data cannot be transfered or stored to application because of local control"},
    {0x41E, "SDO transfer error - data cannot be transfered or stored to application because of present device state"},
    {0x41F, "SDO transfer error - object dictionary dynamic generation fails or no object dictionary is present"},
    {0x420, "SDO transfer error - No data available"},
    {0x4FF, "SDO transfer aborted - manufacturer specific error"},
    // CANopen LSS
    {0x501, "LSS transfer error - protocol timed out"},
    {0x502, "LSS transfer error - configured node id out of range"},
    {0x503, "LSS transfer error - LSS slave could not be set to configuration state."},
    {0x504, "LSS transfer error - manufacturer specific error"},
    // CANopen device profiles
    {0x600, "CANopen device profile specific error"},
    {0x620, "CANopen DS401 specific error codes"},
    {0x640, "CANopen DS402 specific error codes"},
    {0x641, "Error activating a certain CANopen drive operation mode"},
    {0x642, "Timeout waiting for drive status word"},
    {0x643, "Timeout waiting for drive status word PDO transmission"},
    {0x644, "Setting drive into operation enabled state is not possible because drive is in fault state. Clear fault state first"},
    {0x645, "Setting drive into operation enabled state is not possible because drive is in fault state. Clear fault state first"},
    {0x646, "Timeout setting drive to state operation enabled"},
    {0x647, "Timeout while waiting for the completion of drive error reaction time"},
    {0x648, "Timeout or error resetting position counter"},
    {0x661, "Timeout waiting for pump status word"},
    // Flag groups
    {0x4000, "Standard C errno error code"},
    {0x8000, "Application specific error"},
};
// clang-format on

inline constexpr std::size_t errorCatalogueSize = sizeof errorCatalogue / sizeof errorCatalogue[0];

constexpr bool isCatalogueOrdered()
{
    std::int32_t previous = -1;
    for (const ErrorMessage& message : errorCatalogue)
    {
        const bool isRepeated = message.code == previous && (message.code == 11 || message.code == 35);
        if (message.code == 93 ? previous != 200 : message.code <= previous && !isRepeated)
            return false;
        previous = message.code == 93 ? previous : message.code;
    }
    return true;
}

static_assert(errorCatalogueSize == 214, "a row is missing or too many");
static_assert(isCatalogueOrdered(), "a row stands in the wrong place");

} // namespace Kiv

#endif
