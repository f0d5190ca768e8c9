// Replacing a file so that its path always names either the old complete file
// or the new complete one: the new bytes go to a private temporary file in the
// same directory, reach the disk, and are renamed over the path; the file they
// replace is kept as "<path>.bak".
#ifndef ENV_FILE_REPLACEMENT_H
#define ENV_FILE_REPLACEMENT_H

#include <string>

namespace Env {

// Mode of every file written here, whatever the process's file-creation mask.
const unsigned int kPrivateFileMode = 0600;

// True when nothing exists at `path`, or it is (or links to) a regular file:
// something that can be read without blocking.
bool PathAllowsReading(const std::string& path);

// True when nothing exists at `path`, or it is a regular file or a symbolic
// link (which is replaced, never written through).
bool PathAllowsReplacing(const std::string& path);

// True when a new file can be created beside `path` (its directory exists and
// takes new files): a scratch file is created there and removed again. Says
// nothing of the room for the file's bytes.
bool DirectoryTakesNewFile(const std::string& path);

// Writes `bytes` to `path` as described above. On failure the path still holds
// what it held before, no temporary file is left, and false is returned; the
// failed step is traced in debug mode.
bool ReplaceFile(const std::string& path, const std::string& bytes);

// The name under which the replaced file is kept.
std::string BackupPathOf(const std::string& path);

}  // namespace Env

#endif
