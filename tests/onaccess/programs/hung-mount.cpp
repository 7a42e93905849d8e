// hung-mount FOLDER: mounts a file system there that never answers, says "mounted", and waits to be
// killed, which ends the file system.

#include <fcntl.h>
#include <sys/mount.h>
#include <unistd.h>

#include <cstdio>
#include <string>

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "expected FOLDER\n");
    return 2;
  }
  // The other end of a FUSE file system is this descriptor; nobody reads the questions from it.
  const int device = ::open("/dev/fuse", O_RDWR | O_CLOEXEC);
  const std::string options =
      "fd=" + std::to_string(device) + ",rootmode=40000,user_id=0,group_id=0,allow_other";
  if (device < 0 || ::mount("hung", argv[1], "fuse", MS_NOSUID | MS_NODEV, options.c_str()) != 0) {
    std::perror("cannot mount a FUSE file system");
    return 1;
  }
  std::puts("mounted");
  std::fflush(stdout);
  for (;;) ::pause();
}
