#include "FileReplacement.h"

#include <errno.h>
#include <fcntl.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include "kel-tools-trace.h"

namespace Env {

namespace {

const char kStepFailed[] = "%s failed for %s: %s\n";
const char kNotRegular[] = "not a regular file: %s\n";
const char kTraceName[] = "ReplaceFile";

enum Backup { kNoBackup, kBackupKept, kBackupFailed };

// Traces the failed step with errno's text; always false.
bool Failed(const char* step, const std::string& path) {
    int error = errno;
    KelTrace(TRACE_DEBUG, kTraceName, kStepFailed, step, path.c_str(), strerror(error));
    return false;
}

std::string DirectoryOf(const std::string& path) {
    std::string::size_type slash = path.rfind('/');
    if (slash == std::string::npos) return ".";
    return slash == 0 ? "/" : path.substr(0, slash);
}

// A name of this process beside `path`; one of a killed earlier run with the
// same process id is removed before it is used.
std::string ScratchPathOf(const std::string& path) {
    std::string scratch = path + ".tmp." + std::to_string(getpid());
    unlink(scratch.c_str());
    return scratch;
}

int CreatePrivate(const std::string& path) {
    int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC,
                  kPrivateFileMode);
    if (fd < 0) {
        Failed("open", path);
        return -1;
    }
    if (fchmod(fd, kPrivateFileMode) == 0) return fd;
    Failed("fchmod", path);
    close(fd);
    return -1;
}

bool WriteAll(int fd, const std::string& bytes, const std::string& path) {
    for (std::string::size_type done = 0; done < bytes.size();) {
        ssize_t n = write(fd, bytes.data() + done, bytes.size() - done);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return Failed("write", path);
        done += static_cast<std::string::size_type>(n);
    }
    return true;
}

// The whole new file, flushed to disk and closed.
bool WriteScratch(const std::string& scratch, const std::string& bytes) {
    int fd = CreatePrivate(scratch);
    if (fd < 0) return false;
    bool ok = WriteAll(fd, bytes, scratch) && (fsync(fd) == 0 || Failed("fsync", scratch));
    if (close(fd) != 0 && ok) ok = Failed("close", scratch);
    return ok;
}

// Makes the regular file at `path` private (mode 0600): kBackupKept when done,
// kNoBackup when there is none (nothing there, or a symbolic link).
Backup MakePrivate(const std::string& path) {
    int fd = open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0 && (errno == ENOENT || errno == ELOOP)) return kNoBackup;
    if (fd < 0) {
        Failed("open", path);
        return kBackupFailed;
    }
    struct stat st;
    bool regular = fstat(fd, &st) == 0 && S_ISREG(st.st_mode);
    bool ok = regular && fchmod(fd, kPrivateFileMode) == 0;
    if (!ok) Failed(regular ? "fchmod" : "fstat", path);
    close(fd);
    return ok ? kBackupKept : kBackupFailed;
}

// Gives the regular file at `path` the backup's name too, replacing the
// previous backup in one step. A symbolic link or a missing file leaves the
// previous backup as it is.
Backup KeepBackup(const std::string& path) {
    Backup backup = MakePrivate(path);
    if (backup != kBackupKept) return backup;
    std::string name = BackupPathOf(path);
    std::string scratch = ScratchPathOf(name);
    if (link(path.c_str(), scratch.c_str()) != 0) {
        Failed("link", scratch);
        return kBackupFailed;
    }
    if (rename(scratch.c_str(), name.c_str()) == 0) return kBackupKept;
    Failed("rename", scratch);
    unlink(scratch.c_str());
    return kBackupFailed;
}

// Puts back what the path held before the rename (the backup, which stays
// too, or nothing).
void Restore(const std::string& path, Backup backup) {
    if (backup != kBackupKept) {
        unlink(path.c_str());
        return;
    }
    std::string scratch = ScratchPathOf(path);
    if (link(BackupPathOf(path).c_str(), scratch.c_str()) == 0 &&
        rename(scratch.c_str(), path.c_str()) != 0)
        unlink(scratch.c_str());
}

bool Discard(const std::string& scratch) {
    unlink(scratch.c_str());
    return false;
}

bool ReplaceIn(int directory, const std::string& path, const std::string& bytes) {
    std::string scratch = ScratchPathOf(path);
    if (!WriteScratch(scratch, bytes)) return Discard(scratch);
    Backup backup = KeepBackup(path);
    if (backup == kBackupFailed) return Discard(scratch);
    if (rename(scratch.c_str(), path.c_str()) != 0) {
        Failed("rename", scratch);
        return Discard(scratch);
    }
    if (fsync(directory) == 0) return true;
    Failed("fsync", DirectoryOf(path));
    Restore(path, backup);
    return false;
}

}  // namespace

bool PathAllowsReading(const std::string& path) {
    struct stat st;
    return stat(path.c_str(), &st) != 0 || S_ISREG(st.st_mode);
}

bool PathAllowsReplacing(const std::string& path) {
    struct stat st;
    return lstat(path.c_str(), &st) != 0 || S_ISREG(st.st_mode) || S_ISLNK(st.st_mode);
}

bool DirectoryTakesNewFile(const std::string& path) {
    std::string scratch = ScratchPathOf(path);
    int fd = CreatePrivate(scratch);
    if (fd < 0) return false;
    close(fd);
    unlink(scratch.c_str());
    return true;
}

std::string BackupPathOf(const std::string& path) { return path + ".bak"; }

bool ReplaceFile(const std::string& path, const std::string& bytes) {
    if (!PathAllowsReplacing(path)) {
        KelTrace(TRACE_DEBUG, kTraceName, kNotRegular, path.c_str());
        return false;
    }
    std::string directory = DirectoryOf(path);
    int fd = open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0) return Failed("open", directory);
    bool ok = ReplaceIn(fd, path, bytes);
    close(fd);
    return ok;
}

}  // namespace Env
