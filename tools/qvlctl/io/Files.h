// Whole files: read, and replaced so that no half-written one is ever seen.

#ifndef QVLCTL_IO_FILES_H
#define QVLCTL_IO_FILES_H

#include <optional>
#include <string>

namespace qvlctl {

// The content of a file, a pipe or a device, of 512 MiB at most. Throws Trouble.
std::string readFile(const std::string& file);

// The rest of standard input, likewise.
std::string readStandardInput();

// Replaces the content of an existing file; its mode and owner stay. The content is written to a
// temporary file beside it, synced and renamed, so that after a crash the old or the new file is
// there and nothing in between. A symbolic link stays one; its target is replaced. Throws Trouble,
// the file is unchanged then.
void replaceFile(const std::string& file, const std::string& content);

// The absolute path without symbolic links, "." and "..". Throws Trouble when there is no such
// file.
std::string realPath(const std::string& file);

// The same; nothing, with errno set, when there is no such file.
std::optional<std::string> findRealPath(const std::string& file);

// The description of an errno value.
std::string errorText(int error);

}  // namespace qvlctl

#endif  // QVLCTL_IO_FILES_H
