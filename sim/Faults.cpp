#include "Faults.h"

#include <algorithm>
#include <cerrno>
#include <sstream>

#include "ErrnoNames.h"
#include "KernelText.h"

namespace Sim
{

namespace
{

constexpr std::uint64_t endless = std::numeric_limits<std::uint64_t>::max();

bool parseCount(const std::string& text, std::uint64_t& first, std::uint64_t& last)
{
    const std::size_t dash = std::min(text.find('-'), text.size());
    if (parseUnsigned(text.substr(0, dash), endless - 1, first) != 0)
        return false;
    last = first;
    if (dash < text.size() && parseUnsigned(text.substr(dash + 1), endless - 1, last) != 0)
        return false;
    return first >= 1 && first <= last;
}

} // namespace

bool CFaults::parse(std::string_view line, Order& order)
{
    std::istringstream words{std::string(line)};
    std::vector<std::string> fields;
    for (std::string word; words >> word;)
        fields.push_back(word);
    if (fields.size() < 3 || fields.size() > 4)
        return false;
    order.operation = fields[0];
    order.path = fields[1];
    order.error = errnoValue(fields.back());
    const bool isOperation = order.operation == "open" || order.operation == "read" || order.operation == "write";
    const bool isCounted = fields.size() == 3 || parseCount(fields[2], order.first, order.last);
    return isOperation && isCounted && order.error != 0 && order.path[0] == '/';
}

int CFaults::add(std::string_view lines)
{
    std::vector<Order> added;
    std::istringstream stream{std::string(lines)};
    for (std::string line; std::getline(stream, line);)
    {
        if (line.empty())
            continue;
        Order order;
        if (!parse(line, order))
            return -EINVAL;
        added.push_back(order);
    }
    orders.insert(orders.end(), added.begin(), added.end());
    return 0;
}

std::string CFaults::text() const
{
    std::string lines;
    for (const Order& order : orders)
    {
        lines += order.operation + " " + order.path + " ";
        if (order.last != endless)
            lines += std::to_string(order.first) +
                     (order.last != order.first ? "-" + std::to_string(order.last) : std::string()) + " ";
        lines += errnoName(order.error) + "\n";
    }
    return lines;
}

int CFaults::count(std::string_view operation, const std::string& path)
{
    int error = 0;
    for (Order& order : orders)
    {
        if (order.operation != operation || order.path != path)
            continue;
        if (order.first == 1 && error == 0)
            error = order.error;
        order.first = std::max<std::uint64_t>(order.first - 1, 1);
        if (order.last != endless)
            --order.last;
    }
    orders.erase(std::remove_if(orders.begin(), orders.end(), [](const Order& order) { return order.last == 0; }),
                 orders.end());
    return error;
}

} // namespace Sim
