/// Failures that the outer world orders: "the second write of this file answers EIO".
#ifndef KIV_SIM_FAULTS_H
#define KIV_SIM_FAULTS_H

#include <cstdint>
#include <limits>
#include <string>
#include <string_view>
#include <vector>

namespace Sim
{

/// The orders that stand, as lines of text: OPERATION PATH [COUNT] ERRNO.
///
/// OPERATION is open, read or write; COUNT is K or K-L, the accesses that fail, counted from 1 since the order was
/// given. Without it all of them fail. An order is forgotten after the last access that it concerns.
///
/// Threads, errors: as CNode.
class CFaults
{
public:
    /// Adds the orders of all lines, or none of them: -EINVAL.
    int add(std::string_view lines);
    void clear() { orders.clear(); }
    /// The orders that stand, counted anew.
    std::string text() const;

    /// Counts an access. The errno value that it has to fail with, or 0.
    int count(std::string_view operation, const std::string& path);

private:
    struct Order
    {
        std::string operation;
        std::string path;
        std::uint64_t first = 1;
        std::uint64_t last = std::numeric_limits<std::uint64_t>::max();
        int error = 0;
    };

    static bool parse(std::string_view line, Order& order);

    std::vector<Order> orders;
};

} // namespace Sim

#endif
