#include "reports/file_output.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <random>

namespace custsim {

namespace {

// Bytes gathered before a write: few system calls for a stream of small pieces.
constexpr size_t kWriteBufferBytes = 64 * 1024;
// Tries at a fresh temporary name before giving up: each collision is one in 2^64.
constexpr int kTemporaryNameTries = 16;
// New files get what the user's umask leaves of this, as any program's output would.
constexpr mode_t kNewFileMode = 0666;

std::string reason(int error) { return std::strerror(error); }

std::string folderOf(const std::string& path) {
    const size_t slash = path.rfind('/');
    if (slash == std::string::npos) return ".";
    if (slash == 0) return "/";
    return path.substr(0, slash);
}

std::string baseOf(const std::string& path) {
    const size_t slash = path.rfind('/');
    return slash == std::string::npos ? path : path.substr(slash + 1);
}

// A hidden name next to the target that no corpus folder reads as a session (".NAME.HEX.tmp").
std::string temporaryName(const std::string& target) {
    static std::random_device device;
    const uint64_t tag = (static_cast<uint64_t>(device()) << 32) ^ device();
    char hex[17];
    std::snprintf(hex, sizeof hex, "%016llx", static_cast<unsigned long long>(tag));
    const std::string folder = folderOf(target);
    const std::string prefix = target.find('/') == std::string::npos ? "" : folder + "/";
    return prefix + "." + baseOf(target) + "." + hex + ".tmp";
}

mode_t currentUmask() {
    const mode_t mask = umask(0);
    umask(mask);
    return mask;
}

bool syncFolder(const std::string& folder) {
    const int fd = open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0) return false;
    const bool ok = fsync(fd) == 0 || errno == EINVAL;
    close(fd);
    return ok;
}

// The problem with replacing the existing file `info` describes, or "" when there is none.
std::string replaceProblem(const struct stat& info, const std::string& path,
                           const ReplaceOptions& options) {
    if (S_ISLNK(info.st_mode))
        return "is a symbolic link; it is not written through: name the file it points to";
    if (S_ISDIR(info.st_mode)) return "is a directory";
    if (!S_ISREG(info.st_mode)) return "is not a regular file";
    if (options.force) return "";
    if (info.st_nlink > 1)
        return "has " + std::to_string(info.st_nlink) +
               " hard links; replacing it would split them (--force replaces this name only)";
    // No write bit at all is read-only even for root, who may write anyway.
    const bool noWriteBit = (info.st_mode & (S_IWUSR | S_IWGRP | S_IWOTH)) == 0;
    if (noWriteBit || (access(path.c_str(), W_OK) != 0 && errno == EACCES))
        return "is read-only (--force replaces it all the same)";
    return "";
}

}  // namespace

CheckedFdBuf::CheckedFdBuf(int fd) : mFd(fd) { mBuffer.reserve(kWriteBufferBytes); }

CheckedFdBuf::~CheckedFdBuf() { flushAll(); }

bool CheckedFdBuf::writeOut(const char* data, size_t size) {
    while (size > 0 && mError == 0) {
        const ssize_t n = write(mFd, data, size);
        if (n < 0 && errno == EINTR) continue;
        if (n < 0) {
            mError = errno;
        } else if (n == 0) {
            mError = EIO;
        } else {
            data += n;
            size -= static_cast<size_t>(n);
        }
    }
    return mError == 0;
}

bool CheckedFdBuf::flushAll() {
    if (mError != 0) return false;
    const bool ok = writeOut(mBuffer.data(), mBuffer.size());
    mBuffer.clear();
    return ok;
}

CheckedFdBuf::int_type CheckedFdBuf::overflow(int_type c) {
    if (mError != 0) return traits_type::eof();
    if (traits_type::eq_int_type(c, traits_type::eof())) return flushAll() ? 0 : traits_type::eof();
    mBuffer.push_back(traits_type::to_char_type(c));
    if (mBuffer.size() >= kWriteBufferBytes && !flushAll()) return traits_type::eof();
    return c;
}

std::streamsize CheckedFdBuf::xsputn(const char* data, std::streamsize size) {
    if (mError != 0) return 0;
    const auto length = static_cast<size_t>(size);
    if (mBuffer.size() + length < kWriteBufferBytes) {
        mBuffer.insert(mBuffer.end(), data, data + length);
        return size;
    }
    if (!flushAll() || !writeOut(data, length)) return 0;
    return size;
}

int CheckedFdBuf::sync() { return flushAll() ? 0 : -1; }

std::string whyNotReplaceable(const std::string& path, const ReplaceOptions& options) {
    struct stat info {};
    if (lstat(path.c_str(), &info) == 0) {
        const std::string problem = replaceProblem(info, path, options);
        if (!problem.empty()) return problem;
    } else if (errno != ENOENT) {
        return reason(errno);
    }
    const std::string folder = folderOf(path);
    if (access(folder.c_str(), W_OK | X_OK) != 0)
        return "is in a folder that cannot be written (" + folder + ": " + reason(errno) + ")";
    return "";
}

bool checkReplaceable(const std::string& path, const ReplaceOptions& options, std::string& error) {
    const std::string problem = whyNotReplaceable(path, options);
    if (problem.empty()) return true;
    error = path + ": " + problem;
    return false;
}

bool sameFile(const std::string& a, const std::string& b) {
    struct stat first {};
    struct stat second {};
    return stat(a.c_str(), &first) == 0 && stat(b.c_str(), &second) == 0 &&
           first.st_dev == second.st_dev && first.st_ino == second.st_ino;
}

AtomicFile::~AtomicFile() { discard(); }

bool AtomicFile::open(const std::string& path, const ReplaceOptions& options, std::string& error) {
    discard();
    if (!checkReplaceable(path, options, error)) return false;
    mTarget = path;
    mOptions = options;
    for (int attempt = 0; attempt < kTemporaryNameTries && mFd < 0; ++attempt) {
        mTemporary = temporaryName(path);
        // Exclusive and without following links: nothing placed at the name beforehand (a link,
        // a pipe, a directory) is written through, opened or removed.
        mFd = ::open(mTemporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC,
                     S_IRUSR | S_IWUSR);
        if (mFd < 0 && errno != EEXIST) break;
    }
    if (mFd < 0) {
        error = path + ": cannot create a temporary file next to it: " + reason(errno);
        mTemporary.clear();
        return false;
    }
    mBuf = std::make_unique<CheckedFdBuf>(mFd);
    mStream = std::make_unique<std::ostream>(mBuf.get());
    return true;
}

bool AtomicFile::commit(std::string& error) {
    if (mFd < 0) {
        error = mTarget + ": nothing to write";
        return false;
    }
    auto fail = [&](const std::string& what, int code) {
        error = mTarget + ": " + what + ": " + reason(code);
        discard();
        return false;
    };
    if (!mBuf->flushAll()) return fail("cannot write the file", mBuf->error());
    if (fsync(mFd) != 0) return fail("cannot write the file", errno);
    // The target may have changed since open(): check it again just before it is replaced.
    struct stat info {};
    const bool exists = lstat(mTarget.c_str(), &info) == 0;
    if (exists) {
        const std::string problem = replaceProblem(info, mTarget, mOptions);
        if (!problem.empty()) {
            error = mTarget + ": " + problem;
            discard();
            return false;
        }
        // The owner only where the process may (root); others keep the file as theirs already.
        if (fchown(mFd, info.st_uid, info.st_gid) != 0 && errno != EPERM)
            return fail("cannot give the file its owner", errno);
    }
    const mode_t mode = exists ? (info.st_mode & 07777) : (kNewFileMode & ~currentUmask());
    if (fchmod(mFd, mode) != 0) return fail("cannot give the file its mode", errno);
    if (close(mFd) != 0) {
        mFd = -1;
        return fail("cannot write the file", errno);
    }
    mFd = -1;
    if (std::rename(mTemporary.c_str(), mTarget.c_str()) != 0)
        return fail("cannot replace the file", errno);
    mTemporary.clear();
    mStream.reset();
    mBuf.reset();
    if (!syncFolder(folderOf(mTarget))) {
        error = mTarget + ": written, but its folder could not be synced: " + reason(errno);
        return false;
    }
    return true;
}

void AtomicFile::discard() {
    mStream.reset();
    mBuf.reset();
    if (mFd >= 0) close(mFd);
    mFd = -1;
    if (!mTemporary.empty()) unlink(mTemporary.c_str());
    mTemporary.clear();
}

bool replaceFileWith(const std::string& path, const std::string& text,
                     const ReplaceOptions& options, std::string& error) {
    AtomicFile file;
    if (!file.open(path, options, error)) return false;
    file.stream() << text;
    return file.commit(error);
}

}  // namespace custsim
