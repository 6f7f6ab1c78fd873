#include <kiv/FileStorage.h>

#include <cerrno>
#include <fstream>
#include <sstream>

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <boost/filesystem/exception.hpp>

#include "support/OpenDescriptors.h"
#include "support/TemporaryDirectory.h"

namespace
{

constexpr ErrCode noSuchEntity = 0U - 2U;
constexpr ErrCode inputOutputError = 0U - 5U;

/// What the stand-in of fsync saw, and what it answers.
struct
{
    ino_t file;
    off_t size;
    int error;
} synced;

} // namespace

extern "C" int fsync(int descriptor)
{
    struct stat file
    {};
    ::fstat(descriptor, &file);
    synced.file = file.st_ino;
    synced.size = file.st_size;
    errno = synced.error;
    return synced.error == 0 ? 0 : -1;
}

namespace
{

/// A storage on a file that holds "0123456789".
class FileStorage : public testing::Test
{
protected:
    FileStorage()
    {
        synced = {};
        std::ofstream(path, std::ios::binary) << "0123456789";
        EXPECT_EQ(storage.open(path), 0U);
    }

    std::string content() const
    {
        std::ostringstream bytes;
        bytes << std::ifstream(path, std::ios::binary).rdbuf();
        return bytes.str();
    }

    std::string read(long length, long offset)
    {
        std::string bytes(static_cast<std::size_t>(length), '?');
        EXPECT_EQ(storage.read(bytes.data(), length, offset), 0U);
        return bytes;
    }

    TemporaryDirectory directory;
    std::string path = directory.path() / "memory";
    Kiv::CFileStorage storage{4};
};

} // namespace

TEST_F(FileStorage, ReadsAndWritesRangesWithoutMovingTheRest)
{
    EXPECT_EQ(read(3, 4), "456");
    EXPECT_EQ(storage.write("a\n", 2, 1), 0U);
    EXPECT_EQ(read(4, 0), "0a\n3");
    EXPECT_EQ(storage.write("\r\0z", 3, 12), 0U);
    EXPECT_TRUE(storage.isGood());
    EXPECT_EQ(content(), "0a\n3456789") << "the last write waits for the next access";
    EXPECT_EQ(storage.flush(), 0U);
    EXPECT_EQ(content(), std::string("0a\n3456789\0\0\r\0z", 15));
    storage.erase();
    storage.close();
    EXPECT_EQ(content(), std::string("\0\0\0\0"
                                     "456789\0\0\r\0z",
                                     15));
}

TEST_F(FileStorage, ErasesItsSizeWhateverTheFileHas)
{
    Kiv::CFileStorage big(10000);
    Kiv::CFileStorage none(0);
    Kiv::CFileStorage negative(-1);
    for (Kiv::CFileStorage* other : {&none, &negative, &big})
    {
        other->erase(); // closed: nothing
        EXPECT_EQ(other->open(path), 0U);
        other->erase();
        EXPECT_EQ(other->flush(), 0U);
        EXPECT_EQ(content(), other == &big ? std::string(10000, '\0') : "0123456789");
    }
}

TEST_F(FileStorage, ClosedStorageAnswersWithAnError)
{
    storage.close();
    char byte = '?';
    EXPECT_EQ(storage.read(&byte, 1, 0), inputOutputError);
    EXPECT_EQ(storage.write(&byte, 1, 0), inputOutputError);
    EXPECT_EQ(storage.flush(), inputOutputError);
    EXPECT_EQ(byte, '?');
    EXPECT_FALSE(storage.isOpen());
    EXPECT_FALSE(storage.isGood());
    EXPECT_EQ(storage.open(path), 0U);
    EXPECT_EQ(read(1, 9), "9");
}

TEST_F(FileStorage, OpenNamesWhatIsWrongAndCreatesNothing)
{
    Kiv::CFileStorage other(4);
    const std::string missing = directory.path() / "missing";
    EXPECT_EQ(other.open(missing), noSuchEntity);
    EXPECT_EQ(::access(missing.c_str(), F_OK), -1);
    EXPECT_EQ(other.open(directory.path()), inputOutputError);
    EXPECT_FALSE(other.isOpen());
    const std::string loop = directory.path() / "loop";
    ASSERT_EQ(::symlink(loop.c_str(), loop.c_str()), 0);
    EXPECT_THROW(other.open(loop), boost::filesystem::filesystem_error);
    EXPECT_EQ(other.open(path), 0U);
}

TEST_F(FileStorage, FailedAccessSilencesUntilOpenedAgain)
{
    const auto isSilent = [this] {
        EXPECT_EQ(storage.write("x", 1, 0), 0U);
        EXPECT_EQ(read(1, 0), "?");
        EXPECT_EQ(storage.flush(), inputOutputError);
        return storage.isOpen() && !storage.isGood();
    };
    EXPECT_EQ(read(4, 8), "89??");
    EXPECT_TRUE(isSilent());
    storage.close();
    EXPECT_EQ(storage.open(path), 0U);
    EXPECT_EQ(read(2, 0), "01") << "nothing was written meanwhile";

    const std::string second = directory.path() / "second";
    std::ofstream(second) << "second";
    EXPECT_EQ(storage.open(second), 0U) << "but it is still the first file";
    EXPECT_TRUE(isSilent());
    storage.close();
    EXPECT_EQ(storage.open(second), 0U);
    EXPECT_EQ(read(6, 0), "second");

    EXPECT_EQ(storage.write("x", 1, -1), 0U);
    EXPECT_TRUE(isSilent());
}

TEST_F(FileStorage, FlushWaitsForTheMediumAndTellsItsError)
{
    struct stat file
    {};
    ASSERT_EQ(::stat(path.c_str(), &file), 0);
    EXPECT_EQ(storage.write("abc", 3, 10), 0U);
    EXPECT_EQ(storage.flush(), 0U);
    EXPECT_EQ(synced.file, file.st_ino);
    EXPECT_EQ(synced.size, 13) << "the data was handed over before";

    synced.error = ENOSPC;
    EXPECT_EQ(storage.flush(), 0U - 28U);
    EXPECT_TRUE(storage.isGood());
}

TEST_F(FileStorage, IsNotInheritedByProgramsAndLeavesNothingOpen)
{
    EXPECT_EQ(inheritanceOf(path), std::vector<bool>{false});
    EXPECT_EQ(storage.open(path), 0U);
    EXPECT_EQ(inheritanceOf(path).size(), 1U);
    storage.close();
    storage.close();
    EXPECT_EQ(storage.open(path), 0U);
    EXPECT_EQ(Kiv::CFileStorage(4).open(path), 0U);
    EXPECT_EQ(inheritanceOf(path), std::vector<bool>{false});
}

TEST_F(FileStorage, OpenStorageStaysAsItIsWhenAskedForAMissingFile)
{
    EXPECT_EQ(storage.open(directory.path() / "missing"), noSuchEntity);
    EXPECT_TRUE(storage.isGood());
    EXPECT_EQ(read(2, 0), "01");
}

TEST(FileStorageDevice, FullMediumShowsInFlush)
{
    Kiv::CFileStorage storage(4);
    ASSERT_EQ(storage.open("/dev/full"), 0U);
    EXPECT_EQ(storage.write("x", 1, 0), 0U);
    EXPECT_EQ(storage.flush(), inputOutputError);
    EXPECT_FALSE(storage.isGood());
}
