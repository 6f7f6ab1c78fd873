#include "LookDiagram.h"

#include <cstdio>
#include <cstdlib>
#include <memory>

#include <unistd.h>

#include "Command.h"
#include "LookView.h"

namespace Tool
{

namespace
{

/// A file that goes with its object.
class CTemporaryFile
{
public:
    CTemporaryFile() : descriptor(::mkstemp(name)) {}
    ~CTemporaryFile()
    {
        if (descriptor < 0)
            return;
        ::close(descriptor);
        ::unlink(name);
    }
    CTemporaryFile(const CTemporaryFile&) = delete;
    CTemporaryFile& operator=(const CTemporaryFile&) = delete;

    bool write(const std::string& text) const
    {
        std::size_t done = 0;
        for (ssize_t count = 1; descriptor >= 0 && done < text.size() && count > 0;
             done += static_cast<std::size_t>(count))
            count = ::write(descriptor, text.data() + done, text.size() - done);
        return descriptor >= 0 && done == text.size();
    }

    const char* path() const { return name; }

private:
    char name[32] = "/tmp/kiv-look-XXXXXX";
    int descriptor;
};

} // namespace

std::string diagramText(CLookClient& client, const std::string& format, const std::string& machine)
{
    client.send("diagram " + format + ' ' + machine);
    return parsedLine(client.answer()).value("text", "");
}

std::string pictureOf(const std::string& dotText)
{
    const CTemporaryFile source;
    if (!source.write(dotText))
        throw systemFailure(source.path());
    const std::string command = std::string("exec dot -Tsvg ") + source.path() + " 2>/dev/null";
    std::FILE* const graphviz = ::popen(command.c_str(), "re");
    if (graphviz == nullptr)
        throw systemFailure("dot");
    std::string picture;
    char bytes[16384];
    for (std::size_t count = 1; count > 0; picture.append(bytes, count))
        count = std::fread(bytes, 1, sizeof bytes, graphviz);
    if (::pclose(graphviz) != 0)
        throw CToolError(ExitFailed, "dot failed; Graphviz makes the picture: is it installed?");
    return picture;
}

} // namespace Tool
