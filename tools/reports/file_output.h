#pragma once

#include <sys/types.h>

#include <memory>
#include <ostream>
#include <streambuf>
#include <string>
#include <vector>

// The one way the simulator writes the files and streams it was asked to write: every write is
// checked, and a file is replaced whole or not at all.
namespace custsim {

// A stream buffer over a file descriptor that checks every write. After a failed or short write
// it keeps the reason (errno) and the stream goes bad; nothing more is written.
class CheckedFdBuf : public std::streambuf {
public:
    explicit CheckedFdBuf(int fd);
    ~CheckedFdBuf() override;
    CheckedFdBuf(const CheckedFdBuf&) = delete;
    CheckedFdBuf& operator=(const CheckedFdBuf&) = delete;

    // 0 while every write succeeded, else the errno of the first that failed.
    int error() const { return mError; }
    // Writes what is buffered; false once a write has failed.
    bool flushAll();

protected:
    int_type overflow(int_type c) override;
    std::streamsize xsputn(const char* data, std::streamsize size) override;
    int sync() override;

private:
    bool writeOut(const char* data, size_t size);

    int mFd;
    int mError = 0;
    std::vector<char> mBuffer;
};

// How a file that already exists may be replaced.
struct ReplaceOptions {
    // Replace a read-only file, or one name of a file with several hard links (the other names
    // keep the old text). A symbolic link is never replaced nor written through.
    bool force = false;
};

// Checks, before any work is done, that `path` can be replaced: false with a message naming it
// and the reason when it is a symbolic link, a directory or another non-regular file, read-only
// or hard-linked (without force), or its folder cannot be written.
bool checkReplaceable(const std::string& path, const ReplaceOptions& options, std::string& error);
// The same reason without the path, or "" when `path` can be replaced.
std::string whyNotReplaceable(const std::string& path, const ReplaceOptions& options);

// True when `a` and `b` name the same existing file.
bool sameFile(const std::string& a, const std::string& b);

// A file replaced whole: a temporary file in the target's folder, created exclusively under an
// unpredictable name without following links, takes the text; commit() flushes and syncs it,
// gives it the target's mode (and owner, where the process may), renames it over the target and
// syncs the folder. Destroyed without a commit, it removes the temporary file and leaves the
// target as it was.
class AtomicFile {
public:
    AtomicFile() = default;
    ~AtomicFile();
    AtomicFile(const AtomicFile&) = delete;
    AtomicFile& operator=(const AtomicFile&) = delete;

    // False with a message when the target cannot be replaced or the temporary file not created.
    bool open(const std::string& path, const ReplaceOptions& options, std::string& error);
    std::ostream& stream() { return *mStream; }
    // False with a message naming the target and the reason; the target is then untouched.
    bool commit(std::string& error);
    // Removes the temporary file (also done by the destructor).
    void discard();

private:
    std::string mTarget;
    std::string mTemporary;
    ReplaceOptions mOptions;
    int mFd = -1;
    std::unique_ptr<CheckedFdBuf> mBuf;
    std::unique_ptr<std::ostream> mStream;
};

// Replaces `path` by `text` through an AtomicFile.
bool replaceFileWith(const std::string& path, const std::string& text,
                     const ReplaceOptions& options, std::string& error);

}  // namespace custsim
