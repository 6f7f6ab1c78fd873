/// Random access to a small persistent memory that is kept in a file.
#ifndef KIV_FILESTORAGE_H
#define KIV_FILESTORAGE_H

#include <memory>
#include <string>

#include <kiv/err_codes.h>
#include <kiv/kiv_export.h>

namespace Kiv
{

class CFileStoragePrivate;

/// Stands in for a controller's non-volatile memory: byte ranges at offsets, in a file that exists beforehand.
///
/// For records of a fixed place and size, such as those of CHourMeter; several users share one storage through a
/// std::shared_ptr and agree on their offsets. For what people read and edit use CIniFile.
///
/// | state  | open()                                                              | read(), write() | close() |
/// |--------|---------------------------------------------------------------------|-----------------|---------|
/// | closed | opens, or -2 or -5                                                  | -5              | nothing |
/// | open   | -2 if there is no such file; 0, but the earlier one stays, silenced | 0               | closes  |
///
/// Silenced means: every later read and write does nothing and still answers 0, until the storage has been closed and
/// opened again. The same happens after a read past the end of the file and after any access that fails. Callers rely
/// on these results; ask isGood() where it matters.
///
/// Data reaches the file with the next access or when the storage is closed, if not at once; after flush() it is on the
/// medium. What one write() gave goes to the system in one call. A killed process leaves it old or new if it lies
/// within one page of the file (4,096 bytes), a power cut if it lies within one sector of the medium: let the offset of
/// a record be a multiple of its size, and the size a power of two.
///
/// What spans several sectors is found after a power cut with some of them old and some new, in any mixture, until
/// flush() has returned; where that matters, write two copies in turn as COperatingHours does.
///
/// Programs that the controller starts do not inherit the file.
///
/// Threads: reentrant; all users of one storage belong to one thread at a time.
/// Errors: results are 0 or a negated code, -2 as 0xFFFFFFFE.
/// Units: bytes; offsets count from the start of the file.
class KIV_API CFileStorage
{
public:
    /// A closed storage; touches no file. `size` is what erase() overwrites.
    explicit CFileStorage(int size);
    CFileStorage(const CFileStorage&) = delete;
    CFileStorage& operator=(const CFileStorage&) = delete;

    /// Closes the file.
    virtual ~CFileStorage();

    /// Opens a file for reading and writing; never creates one. -2 when there is none, -5 when it cannot be opened, as
    /// a directory cannot. Where the path cannot even be looked up (no permission for a folder on the way),
    /// boost::filesystem::filesystem_error passes, a std::runtime_error.
    ErrCode open(const std::string& path);

    /// Reads into `buffer`. What lies beyond the end of the file is not read, and silences the storage: fill a new file
    /// by erase() first.
    ErrCode read(char* buffer, long length, long offset);

    /// Writes, beyond the end of the file too: it grows, and a gap is filled with zeros.
    ErrCode write(const char* buffer, long length, long offset);

    /// What the file refuses now is not reported: flush() before, where it matters.
    void close();

    /// Writes zeros from the start, as many as the constructor was told, whatever the length of the file and what
    /// stands there: for a new file, not at every start of the program. Nothing on a closed storage.
    void erase();

    /// Hands everything written to the medium and waits for it (fsync). -5 on a closed or silenced storage and when the
    /// file refuses the data, else the negated code of the system's error.
    ErrCode flush();

    /// True from a successful open() to close().
    bool isOpen() const;

    /// True while the storage is open and not silenced.
    bool isGood() const;

private:
    std::unique_ptr<CFileStoragePrivate> d;
};

} // namespace Kiv

#endif
