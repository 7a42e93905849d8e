#include "walk/PseudoFileSystems.h"

#ifdef __APPLE__
#include <sys/mount.h>
#include <sys/param.h>
#else
#include <sys/vfs.h>
#endif

#include <cstdint>
#include <string_view>

namespace qvlctl {

#ifdef __APPLE__

std::optional<std::string> pseudoFileSystemOf(int folder) {
  struct statfs status;
  if (::fstatfs(folder, &status) != 0) return std::nullopt;
  const std::string_view name = status.f_fstypename;
  if (name == "devfs" || name == "autofs") return std::string(name);
  return std::nullopt;
}

#else

namespace {

struct FileSystem {
  std::uint32_t magic;
  const char* name;
};

// The numbers are those of the kernel's <linux/magic.h>, which lacks some of them.
constexpr FileSystem kPseudoFileSystems[] = {
    {0x00009fa0, "proc"},     {0x62656572, "sysfs"},      {0x00001cd1, "devpts"},
    {0x0027e0eb, "cgroup"},   {0x63677270, "cgroup2"},    {0x64626720, "debugfs"},
    {0x74726163, "tracefs"},  {0x73636673, "securityfs"}, {0xf97cff8c, "selinuxfs"},
    {0x6165676c, "pstore"},   {0xcafe4a11, "bpf"},        {0x62656570, "configfs"},
    {0x19800202, "mqueue"},   {0x65735543, "fusectl"},    {0x42494e4d, "binfmt_misc"},
    {0xde5e81e4, "efivarfs"}, {0x958458f6, "hugetlbfs"},  {0x67596969, "rpc_pipefs"},
    {0x6e736673, "nsfs"},     {0x00000187, "autofs"},     {0x43415d53, "smackfs"},
};

}  // namespace

std::optional<std::string> pseudoFileSystemOf(int folder) {
  struct statfs status;
  if (::fstatfs(folder, &status) != 0) return std::nullopt;
  for (const FileSystem& one : kPseudoFileSystems) {
    if (static_cast<std::uint32_t>(status.f_type) == one.magic) return one.name;
  }
  return std::nullopt;
}

#endif

}  // namespace qvlctl
