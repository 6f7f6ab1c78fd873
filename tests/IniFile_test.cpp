#include <kiv/IniFile.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <random>
#include <regex>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gmock/gmock.h>

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "support/ChildProcess.h"
#include "support/OpenDescriptors.h"
#include "support/TemporaryDirectory.h"
#include "support/WaitUntil.h"

using Kiv::CIniFile;
using Kiv::CIniFileKey;
using Kiv::CIniFileSection;
using namespace std::string_literals;

namespace
{

/// So many bytes more can be read, in pieces of at most a third; then the medium fails.
thread_local std::size_t readable = SIZE_MAX;

} // namespace

extern "C" ssize_t read(int file, void* bytes, std::size_t size)
{
    static const auto original = reinterpret_cast<ssize_t (*)(int, void*, std::size_t)>(dlsym(RTLD_NEXT, "read"));
    if (readable == SIZE_MAX)
        return original(file, bytes, size);
    if (readable == 0)
        return errno = EIO, -1;
    const ssize_t got = original(file, bytes, std::min(size, readable / 3 + 1));
    readable -= static_cast<std::size_t>(std::max<ssize_t>(got, 0));
    return got;
}

namespace
{

constexpr ErrCode noSuchEntity = 0u - 2u;
constexpr ErrCode ioError = 0u - 5u;
constexpr ErrCode noSpaceLeft = 0u - 28u;

class IniFile : public testing::Test
{
protected:
    void write(const std::string& bytes) const { std::ofstream(path, std::ios::binary) << bytes; }

    std::string bytes() const
    {
        std::ostringstream all;
        all << std::ifstream(path, std::ios::binary).rdbuf();
        return all.str();
    }

    /// What load() and updateFile() make of a file.
    std::string rewritten(const std::string& text) const
    {
        write(text);
        CIniFile ini(path);
        EXPECT_EQ(ini.load(), 0u);
        EXPECT_EQ(ini.updateFile(), 0u);
        return bytes();
    }

    const TemporaryDirectory directory{TemporaryDirectory::inMemory()};
    const std::string path = directory.path() / "test.ini";
};

std::string value(const CIniFile& ini, const std::string& section, const std::string& key)
{
    std::string result;
    ini.readString(section, key, "(default)", result);
    return result;
}

std::vector<std::string> sectionNames(const CIniFile& ini)
{
    std::vector<std::string> names;
    for (unsigned short i = 0; i < ini.sectionCount(); ++i)
        names.push_back(ini.sectionName(i));
    return names;
}

std::ptrdiff_t openFiles()
{
    const std::filesystem::directory_iterator descriptors("/proc/self/fd");
    return std::distance(begin(descriptors), end(descriptors));
}

} // namespace

TEST_F(IniFile, ComesBackInItsOneFormAndStaysSo)
{
    const struct
    {
        const char* name;
        std::string text;
        std::string expected;
    } rows[] = {
        {"nothing at all", "", "\n"},
        {"blanks around name and value", "[S]\n  key1 =  some value = more  \n", "[S]\nkey1=some value = more\n\n\n"},
        {"tabs and blank lines", "\n \t \n[S]\n\n\tk\t=\tv\t\n\n\n", "[S]\nk=v\n\n\n"},
        {"empty value, empty name", "[S]\nk=\n=x\n", "[S]\nk=\n=x\n\n\n"},
        {"a line that is no key passes its comment on", "[S]\n; c\nname: value\nk=v\n", "[S]\n; c\nk=v\n\n\n"},
        {"comments lose their indentation", "  ; c1\n\t# c2\n[S]\n   ;c3\nk=v\n", "; c1\n# c2\n[S]\n;c3\nk=v\n\n\n"},
        {"comment at the end", "[S]\nk=v\n# end\n\n; really\n", "[S]\nk=v\n\n# end\n; really\n\n"},
        {"only a comment", "; c\n", "; c\n\n"},
        {"CR LF stays in comments only", "; c\r\n[S]\r\nk=v\r\n\r\n", "; c\r\n[S]\nk=v\n\n\n"},
        {"odd section lines", "[abc] x\n[a]b]\n[]\n[ s ]  \n[[t]\n", "[abc x]\n\n[a]b]\n\n[]\n\n[ s ]\n\n[[t]\n\n\n"},
        {"a key before any section passes its comment on", "; c\nk=v\n[S]\n", "; c\n[S]\n\n\n"},
        {"no line break at the end", "[S]\nk=v", "[S]\nk=v\n\n\n"},
        {"names given twice", "[S]\na=1\na=2\n[T]\n[S]\nb=3\n", "[S]\na=1\na=2\n\n[T]\n\n[S]\nb=3\n\n\n"},
        {"pieces that move together", "[A]\n  ;1\n \n ;2\nno key\n\tk\t= \tv\t\n;3\r\nx\n [B]y\t\nl =\r\n m=1",
         "[A]\n;1\n;2\nk=v\n\n;3\r\n[By]\nl=\nm=1\n\n\n"},
        {"NUL bytes", "; c\0c\n[S\0]\nk\0=\0v\0\n"s, "; c\0c\n[S\0]\nk\0=\0v\0\n\n\n"s},
        {"bytes above 127", "[\xC3\xA4]\n\xFF=\xA0\n", "[\xC3\xA4]\n\xFF=\xA0\n\n\n"},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(rewritten(row.text), row.expected);
        EXPECT_EQ(rewritten(row.expected), row.expected);
    }
    // A last comment without line break gets one, and after that the file's own.
    EXPECT_EQ(rewritten("; c"), "; c\n");
    EXPECT_EQ(rewritten("; c\n"), "; c\n\n");
}

TEST_F(IniFile, LinesOfAnyLengthAreReadWhole)
{
    for (const int size : {1, 252, 253, 254, 255, 65525, 65526, 65527, 65528, 65529, 65530, 131072, 1 << 20})
    {
        const auto length = static_cast<std::size_t>(size);
        const std::string text =
            "[S]\n; " + std::string(length, 'c') + "\nlong=" + std::string(length, 'v') + "\nlast=1\n\n\n";
        EXPECT_TRUE(rewritten(text) == text) << length;
    }
}

TEST_F(IniFile, AnswersByNameAndByPosition)
{
    write("; of A\n[A]\n# of k\nk=1\nk=2\nK=3\n[B]\n[A]\nx=4\n");
    CIniFile ini(path);
    ASSERT_EQ(ini.load(), 0u);
    EXPECT_THAT(sectionNames(ini), testing::ElementsAre("A", "B", "A"));
    EXPECT_EQ(ini.keyCountInSection("A"), 3);
    EXPECT_EQ(ini.keyCountInSection("B"), 0);
    EXPECT_EQ(ini.keyName("A", 2), "K");
    EXPECT_EQ(value(ini, "A", "k"), "1");
    EXPECT_EQ(ini.findKey("A", "k")->comment(), "# of k\n");
    EXPECT_EQ(ini.findKey("A", "K")->value(), "3");
    EXPECT_FALSE(ini.existsKey("A", "x")) << "lookups reach the first of two sections";

    EXPECT_EQ(ini.findSection("a"), nullptr);
    EXPECT_EQ(ini.findKey("C", "k"), nullptr);
    EXPECT_FALSE(ini.existsKey("C", "k"));
    EXPECT_EQ(ini.keyCountInSection("C"), -1);
    EXPECT_EQ(ini.keyName("C", 0), "");
    EXPECT_EQ(ini.keyName("A", 4), "");
    EXPECT_THROW(ini.keyName("A", 3), std::out_of_range);
    EXPECT_EQ(ini.sectionName(3), "");
    EXPECT_EQ(ini.sectionName(4), "");
    EXPECT_EQ(ini.sectionName(65535), "");
}

TEST_F(IniFile, SecondLoadAppendsAndClearKeepsTheCommentAtTheEnd)
{
    write("[S]\nk=v\n; end\n");
    CIniFile ini(path);
    ini.load();
    ini.load();
    EXPECT_THAT(sectionNames(ini), testing::ElementsAre("S", "S"));
    ini.clear();
    EXPECT_EQ(ini.sectionCount(), 0);
    EXPECT_FALSE(ini.existsSection("S"));
    EXPECT_EQ(ini.updateFile(), 0u);
    EXPECT_EQ(bytes(), "; end\n\n");
}

TEST_F(IniFile, KeysBeforeTheFirstSectionOfASecondFileGoToTheLastOne)
{
    write("early=0\n[S]\nk=v\n");
    for (const bool isAskedFor : {false, true})
    {
        CIniFile ini(path);
        ini.load();
        EXPECT_EQ(isAskedFor && ini.existsKey("S", "early"), false);
        ini.load();
        EXPECT_EQ(value(ini, "S", "early"), "0");
        EXPECT_EQ(ini.updateFile(), 0u);
        EXPECT_EQ(bytes(), "[S]\nk=v\nearly=0\n\n[S]\nk=v\n\n\n");
        write("early=0\n[S]\nk=v\n");
    }
}

TEST_F(IniFile, ReadErrorKeepsTheLinesBeforeIt)
{
    const std::string text = "; of S\n[S]\nk=v\n; waits\nlost=1\n";
    write(text);
    CIniFile ini(path);
    readable = text.size() - 2;
    const ErrCode code = ini.load();
    readable = SIZE_MAX;
    EXPECT_EQ(code, ioError);
    EXPECT_EQ(ini.updateFile(), 0u);
    EXPECT_EQ(bytes(), "; of S\n[S]\nk=v\n\n; waits\n\n");
    readable = 1000; // enough, piece by piece
    EXPECT_EQ(ini.load(), 0u);
    readable = SIZE_MAX;
    EXPECT_EQ(ini.sectionCount(), 2);
}

TEST_F(IniFile, FailuresAreToldAndLeaveNoFileOpen)
{
    write("[A]\nk=v\n; c\n[Main\n[B]\n");
    const auto before = openFiles();
    CIniFile broken(path);
    try
    {
        broken.load();
        ADD_FAILURE() << "a section line without ']' went through";
    }
    catch (const std::out_of_range& error)
    {
        EXPECT_THAT(error.what(), testing::HasSubstr("basic_string::erase"));
    }
    EXPECT_THAT(sectionNames(broken), testing::ElementsAre("A"));
    std::string line;
    EXPECT_EQ(broken.readLine(line), ioError) << "no load() is under way";

    CIniFile folder(directory.path());
    EXPECT_EQ(folder.load(), ioError);
    EXPECT_EQ(folder.updateFile(), noSuchEntity);

    CIniFile missing(directory.path() / "missing" / "test.ini");
    missing.writeString("S", "k", "v");
    EXPECT_EQ(missing.load(), noSuchEntity);
    EXPECT_EQ(missing.updateFile(), noSuchEntity);
    EXPECT_EQ(value(missing, "S", "k"), "v");
    EXPECT_EQ(openFiles(), before);
}

TEST_F(IniFile, NoFileIsInheritedByPrograms)
{
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0); // whoever has opened it waits here
    CIniFile ini(path);
    std::thread loading([&] { EXPECT_EQ(ini.load(), 0u); });
    const int writer = open(path.c_str(), O_WRONLY | O_CLOEXEC);
    EXPECT_TRUE(waitUntil([&] { return inheritanceOf(path) == std::vector<bool>{false, false}; }));
    close(writer);
    loading.join();
    ini.writeString("S", "k", std::string(200000, 'x')); // more than a pipe takes
    std::thread writing([&] { EXPECT_EQ(ini.updateFile(), 0u); });
    const int reader = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    EXPECT_TRUE(waitUntil([&] { return inheritanceOf(path) == std::vector<bool>{false, false}; }));
    std::string block(65536, '\0');
    while (read(reader, block.data(), block.size()) > 0)
    {}
    close(reader);
    writing.join();
}

TEST_F(IniFile, FullDiskIsToldWhateverTheSizeAndTheModelLives)
{
    const auto before = openFiles();
    for (const int keys : {1, 20000})
    {
        CIniFile ini("/dev/full");
        CIniFileSection* section = ini.addSection("S", "");
        for (int i = 0; i < keys; ++i)
            section->addKey("key", "value", "; comment\n");
        EXPECT_EQ(ini.updateFile(), noSpaceLeft);
        EXPECT_EQ(ini.keyCountInSection("S"), keys);
    }
    EXPECT_EQ(openFiles(), before);
}

// A writer is killed again and again while somebody else loads the file.
TEST_F(IniFile, IsNeverSeenOrLeftIncomplete)
{
    CIniFile ini(path);
    for (int i = 0; i < 200; ++i)
        ini.writeString("S" + std::to_string(i), "key", std::string(100, 'x'));
    ASSERT_EQ(ini.updateFile(), 0u);
    const std::string whole = bytes();
    for (int round = 0; round < 20; ++round)
    {
        CChildProcess writer([&] {
            while (ini.updateFile() == 0)
            {}
            return 1;
        });
        for (int i = 0; i < 10 * round; ++i)
            ASSERT_TRUE(bytes() == whole);
        writer.kill(SIGKILL);
        EXPECT_EQ(writer.wait(), 128 + SIGKILL);
        ASSERT_TRUE(bytes() == whole);
    }
    EXPECT_EQ(ini.updateFile(), 0u);
    const std::filesystem::directory_iterator files(directory.path());
    EXPECT_EQ(std::distance(begin(files), end(files)), 1) << "what the killed ones left is gone";
}

TEST_F(IniFile, TellsWhetherSomebodyElseChangedTheFile)
{
    CIniFile ini(path);
    EXPECT_FALSE(ini.changedOnDisk()) << "there is none";
    EXPECT_EQ(ini.load(), noSuchEntity);
    write("[S]\nk=1\n");
    EXPECT_TRUE(ini.changedOnDisk()) << "made";
    EXPECT_EQ(ini.load(), 0u);
    EXPECT_FALSE(ini.changedOnDisk());
    write("[S]\nk=12\n");
    EXPECT_TRUE(ini.changedOnDisk()) << "in place";
    ini.writeString("S", "k", "3");
    EXPECT_EQ(ini.updateFile(), 0u);
    EXPECT_FALSE(ini.changedOnDisk()) << "our own change";
    CIniFile other(path);
    other.load();
    EXPECT_EQ(other.updateFile(), 0u);
    EXPECT_TRUE(ini.changedOnDisk()) << "replaced by the same bytes";
    std::filesystem::remove(path);
    EXPECT_TRUE(ini.changedOnDisk()) << "removed";
}

TEST_F(IniFile, DeletedKeyIsNoLongerWrittenYetStillFound)
{
    write("[S]\na=1\nb=2\nc=3\n");
    CIniFile ini(path);
    ini.load();
    const CIniFileKey* deleted = ini.findKey("S", "b");
    EXPECT_EQ(ini.deleteKey("S", "b"), 0);
    EXPECT_EQ(ini.deleteKey("S", "b"), 0) << "once more";
    EXPECT_EQ(ini.deleteKey("S", "none"), 0);
    EXPECT_EQ(ini.deleteKey("none", "b"), 0);
    EXPECT_EQ(ini.keyCountInSection("S"), 2);
    EXPECT_EQ(ini.keyName("S", 1), "c");
    EXPECT_TRUE(ini.existsKey("S", "b"));
    EXPECT_EQ(value(ini, "S", "b"), "2");

    ini.writeString("S", "b", "changed");
    ini.findSection("S")->addKey("b", "added", "");
    EXPECT_EQ(value(ini, "S", "b"), "changed") << "lookups keep reaching the deleted key";
    EXPECT_EQ(ini.updateFile(), 0u);
    EXPECT_EQ(bytes(), "[S]\na=1\nc=3\nb=added\n\n\n");
    ini.clear();
    EXPECT_EQ(deleted->value(), "changed");
}

TEST_F(IniFile, ErasedSectionIsGoneAndItsNameCanBeUsedAgain)
{
    CIniFile ini(path);
    ini.writeString("S", "k", "first");
    ini.writeString("T", "k", "other");
    EXPECT_EQ(ini.eraseSection("none"), 0);
    EXPECT_EQ(ini.eraseSection(ini.sectionName(0)), 0) << "the name goes with the section";
    EXPECT_FALSE(ini.existsSection("S"));
    EXPECT_EQ(ini.eraseSection("S"), 0);
    ini.addSection("S", "; new\n");
    ini.writeString("S", "k", "second");
    EXPECT_EQ(ini.updateFile(), 0u);
    EXPECT_EQ(bytes(), "[T]\nk=other\n\n; new\n[S]\nk=second\n\n\n");

    ini.addSection("T", "")->addKey("k", "later", "");
    ini.eraseSection("T");
    EXPECT_EQ(value(ini, "T", "k"), "later") << "the name reaches the next section that bears it";
}

// Many names come and go: each lookup must give what a plain search of the list gives.
TEST_F(IniFile, LookupsAgreeWithThePlainListWhateverCameAndWent)
{
    std::mt19937 random(1);
    CIniFile ini(path);
    std::vector<std::pair<std::string, CIniFileSection*>> list;
    for (int step = 0; step < 20000; ++step)
    {
        const std::string name = std::to_string(random() % 500);
        const auto first =
            std::find_if(list.begin(), list.end(), [&](const auto& entry) { return entry.first == name; });
        ASSERT_EQ(ini.findSection(name), first == list.end() ? nullptr : first->second) << step;
        if (random() % 2 == 0)
        {
            list.emplace_back(name, ini.addSection(name, ""));
        }
        else if (first != list.end())
        {
            ini.eraseSection(name);
            list.erase(first);
        }
        ASSERT_EQ(ini.sectionCount(), list.size());
        if (random() % 20 != 0 || list.empty())
            continue;
        const std::size_t index = random() % list.size();
        ASSERT_EQ(ini.sectionName(static_cast<unsigned short>(index)), list[index].first) << step;
        const std::size_t end = random() % 2 == 0 ? 0 : list.size() - 1;
        const auto erased =
            std::find_if(list.begin(), list.end(), [&](const auto& entry) { return entry.first == list[end].first; });
        ini.eraseSection(std::string(list[end].first));
        list.erase(erased);
    }
    ASSERT_EQ(ini.sectionCount(), list.size());
    for (std::size_t i = 0; i < list.size(); ++i)
        ASSERT_EQ(ini.sectionName(static_cast<unsigned short>(i)), list[i].first);
}

/// The keys of a section in two plain lists.
struct PlainKeys
{
    struct SKey
    {
        std::string name;
        std::string value;
        CIniFileKey* found;
    };

    /// Lookups reach the first of a name, deleted or not; null if there is none.
    SKey* find(const std::string& name)
    {
        const auto has = [&](const auto& each) { return each->name == name; };
        const auto first = std::find_if(all.begin(), all.end(), has);
        return first == all.end() ? nullptr : first->get();
    }
    void add(const std::string& name, const std::string& text)
    {
        all.push_back(std::make_unique<SKey>(SKey{name, text, nullptr}));
        list.push_back(all.back().get());
    }
    void remove(const SKey* key) { list.erase(std::remove(list.begin(), list.end(), key), list.end()); }

    std::vector<std::unique_ptr<SKey>> all;
    std::vector<SKey*> list;
};

/// One of the ways to use keys of this name, with both.
void use(CIniFile& ini, PlainKeys& keys, const std::string& name, unsigned way)
{
    PlainKeys::SKey* const first = keys.find(name);
    ASSERT_EQ(value(ini, "S", name), first ? first->value : "(default)");
    if (way == 0)
    {
        ini.findSection("S")->addKey(name, "added", "");
        keys.add(name, "added");
    }
    else if (way == 1)
    {
        ini.deleteKey("S", name);
        keys.remove(first);
    }
    else if (way == 2)
    {
        ini.writeString("S", name, "written");
        first ? void(first->value = "written") : keys.add(name, "written");
    }
    else if (CIniFileKey* const found = ini.findKey("S", name))
    {
        ASSERT_TRUE(!first->found || first->found == found) << "a pointer stays";
        first->found = found;
        ASSERT_EQ(found->value(), first->value);
    }
}

TEST_F(IniFile, KeysAgreeWithThePlainListWhereverTheyComeFrom)
{
    std::mt19937 random(2);
    for (int round = 0; round < 50; ++round)
    {
        PlainKeys keys;
        std::string text = "[S]\n";
        for (int i = 0; i < 30; ++i)
        {
            keys.add(std::to_string(random() % 40), std::to_string(i));
            text += "  ; comment\n \n" + keys.list.back()->name + " =\t" + keys.list.back()->value + " \n";
        }
        write(text);
        CIniFile ini(path);
        ASSERT_EQ(ini.load(), 0u);
        for (int step = 0; step < 100; ++step)
            ASSERT_NO_FATAL_FAILURE(use(ini, keys, std::to_string(random() % 40), random() % 4));

        std::string written;
        ASSERT_EQ(ini.updateFile(), 0u);
        for (std::size_t i = 0; i < keys.list.size(); ++i)
        {
            written += keys.list[i]->name + "=" + keys.list[i]->value + "\n";
            ASSERT_EQ(ini.keyName("S", static_cast<unsigned short>(i)), keys.list[i]->name);
        }
        ASSERT_EQ(std::regex_replace(bytes(), std::regex("; comment\n"), ""), "[S]\n" + written + "\n\n");
    }
}

TEST_F(IniFile, MoreThan65535SectionsWrapTheCountOnly)
{
    std::string text;
    for (int i = 0; i < 70000; ++i)
        text += "[s" + std::to_string(i) + "]\nk=" + std::to_string(i) + "\n\n";
    text += '\n';
    EXPECT_TRUE(rewritten(text) == text);

    CIniFile ini(path);
    ini.load();
    EXPECT_EQ(ini.sectionCount(), 70000 - 65536);
    EXPECT_EQ(ini.sectionName(4463), "s4463");
    EXPECT_EQ(ini.sectionName(4465), "");
    EXPECT_EQ(value(ini, "s69999", "k"), "69999");
}

TEST_F(IniFile, KeysAndSectionsWriteThemselvesToAStream)
{
    CIniFileKey key("k", "v", "; of k\n");
    CIniFileSection section("S", "; of S\n");
    section.addKey("a", "1", "");
    std::FILE* file = std::fopen(path.c_str(), "w");
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(key.writeToFile(file), 0);
    EXPECT_EQ(section.writeToFile(file), 0);
    std::fclose(file);
    EXPECT_EQ(bytes(), "; of k\nk=v\n; of S\n[S]\na=1\n\n");
    EXPECT_EQ(key.writeToFile(nullptr), 0);
    EXPECT_EQ(section.writeToFile(nullptr), 0);
}

TEST(IniFileTrim, LeavesAStringOfNothingElseAsItIs)
{
    const struct
    {
        std::string text;
        std::string left;
        std::string right;
    } rows[] = {{" \tab c\r\n", "ab c\r\n", " \tab c"}, {"ab", "ab", "ab"}, {" \n", " \n", " \n"}, {"", "", ""}};
    for (const auto& row : rows)
    {
        std::string left = row.text;
        std::string right = row.text;
        Kiv::TrimLeft(left, Kiv::WhiteSpace);
        Kiv::TrimRight(right, Kiv::WhiteSpace);
        EXPECT_EQ(left, row.left);
        EXPECT_EQ(right, row.right);
    }
}
