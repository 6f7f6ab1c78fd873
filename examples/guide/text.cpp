// A line for a display of ten columns, cut by characters and not by bytes.

// [text]
#include <cstdio>

#include <kiv/tinyutf8.h>

int main()
{
    utf8_string line("Zulauf 20 °C über Soll"); // UTF-8
    std::printf("%zu code points, %zu bytes\n", line.length(), line.size());

    line.replace(0, 6, "T");
    std::puts(line.substr(0, 10).c_str());
    line[2] = U'→';
    std::printf("%s, degrees at %zu\n", line.c_str(), line.find(U'°'));

    const utf8_string broken("20 \xC2", 4, tiny_utf8_detail::read_bytes_tag()); // a sequence that is cut off
    std::printf("%zu code points\n", broken.length());
}
// [text]
