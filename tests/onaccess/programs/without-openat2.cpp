// without-openat2 PROGRAM ARGUMENT...: runs a program for which the kernel has no openat2, as an
// older one has not, and as a systemd unit with RestrictSUIDSGID= makes it appear.

#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstdio>

int main(int argc, char** argv) {
  sock_filter instructions[] = {
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_openat2, 0, 1),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | ENOSYS),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
  };
  const sock_fprog program = {sizeof instructions / sizeof *instructions, instructions};
  if (argc < 2 || ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0 ||
      ::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) != 0) {
    std::perror("without-openat2");
    return 3;
  }
  ::execv(argv[1], argv + 1);
  std::perror(argv[1]);
  return 3;
}
