// What the documentation and the examples promise.

#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "Program.h"

namespace QVL {
namespace Test {
namespace {

class Examples : public ProgramTest {
 protected:
  static std::string source(const std::string& name) {
    return std::string(QVL_SOURCE_DIR "/") + name;
  }

  // The blocks of a Markdown file that begin with ```xml.
  static std::vector<std::string> xmlBlocks(const std::string& name) {
    std::ifstream stream(source(name), std::ios::binary);
    const std::string text((std::istreambuf_iterator<char>(stream)),
                           std::istreambuf_iterator<char>());
    const std::string begin = "```xml\n";
    std::vector<std::string> blocks;
    for (std::size_t at = 0; (at = text.find(begin, at)) != std::string::npos;) {
      at += begin.size();
      blocks.push_back(text.substr(at, text.find("```", at) - at));
    }
    return blocks;
  }
};

TEST_F(Examples, PoliciesInTheDocumentationAreRight) {
  const std::vector<std::string> blocks = xmlBlocks("docs/policy-format.md");
  ASSERT_EQ(blocks.size(), 2u);
  write("policy.xml", blocks[0]);
  EXPECT_EQ(run({"lookup", "--policy", "policy.xml", "/srv/build/a.o", "/srv/build/a.exe",
                 "/home/ann/a.o"}),
            (Result{0,
                    "excluded  1        /srv/build/a.o\n"
                    "scan      1,3      /srv/build/a.exe\n"
                    "scan      -        /home/ann/a.o\n",
                    ""}));
  write("policy.xml", blocks[1]);
  EXPECT_EQ(run({"lookup", "--policy", "policy.xml", "--process", "/usr/bin/rsync",
                 "/opt/beta/x.so", "/opt/shared/deep/x.so", "/opt/shared/x"}),
            (Result{0,
                    "excluded  2,4      /opt/beta/x.so\n"
                    "scan      4        /opt/shared/deep/x.so\n"
                    "scan      2,3,4    /opt/shared/x\n",
                    ""}));
}

TEST_F(Examples, LinuxServerPolicy) {
  const std::string policy = source("examples/linux-server.xml");
  EXPECT_EQ(run({"lookup", "-p", policy, "/usr/include/stdio.h", "/var/cache/apt/archives/a.deb",
                 "/var/cache/other/a.deb", "/var/lib/libvirt/images/pool/vm.qcow2",
                 "/srv/build/job/1/main.o", "/var/cache/apt/a.EXE", "/var/lib/mysql/ibdata1",
                 "/home/ann/include/stdio.h"}),
            (Result{0,
                    "excluded  1        /usr/include/stdio.h\n"
                    "excluded  1        /var/cache/apt/archives/a.deb\n"
                    "scan      -        /var/cache/other/a.deb\n"
                    "excluded  2        /var/lib/libvirt/images/pool/vm.qcow2\n"
                    "excluded  2        /srv/build/job/1/main.o\n"
                    "scan      1,9      /var/cache/apt/a.EXE\n"
                    "scan      -        /var/lib/mysql/ibdata1\n"
                    "scan      -        /home/ann/include/stdio.h\n",
                    ""}));
  EXPECT_EQ(run({"lookup", "-p", policy, "--process", "/usr/sbin/mariadbd", "--access", "write",
                 "/var/lib/mysql/ibdata1", "/usr/include/stdio.h", "/var/mail/ann/inbox"}),
            (Result{0,
                    "excluded  3,4      /var/lib/mysql/ibdata1\n"
                    "scan      3        /usr/include/stdio.h\n"
                    "scan      3        /var/mail/ann/inbox\n",
                    ""}));
}

TEST_F(Examples, MacDeveloperPolicy) {
  const std::string policy = source("examples/mac-developer.xml");
  EXPECT_EQ(
      run({"lookup", "-p", policy, "/Users/ann/src/app/build/x.o", "/Users/ann/Documents/build/x.o",
           "/Users/ann/src/app/build/run.command", "/Users/ann/Library/Mail/V10/box/1.emlx",
           "/Users/ann/Backup.sparsebundle/bands/1f"}),
      (Result{0,
              "excluded  1        /Users/ann/src/app/build/x.o\n"
              "scan      -        /Users/ann/Documents/build/x.o\n"
              "scan      1,7      /Users/ann/src/app/build/run.command\n"
              "excluded  2        /Users/ann/Library/Mail/V10/box/1.emlx\n"
              "excluded  2        /Users/ann/Backup.sparsebundle/bands/1f\n",
              ""}));
  EXPECT_EQ(
      run({"lookup", "-p", policy, "--process", "/Library/Developer/CommandLineTools/usr/bin/clang",
           "/Users/ann/SRC/main.c", "/Users/ann/main.c"}),
      (Result{0,
              "excluded  3,4      /Users/ann/SRC/main.c\n"
              "scan      3        /Users/ann/main.c\n",
              ""}));
}

TEST_F(Examples, SmallestHostAnswers) {
  Circumstances circumstances;
  circumstances.program = QVL_EXAMPLE_HOST;
  EXPECT_EQ(run({"/var/cache/x/y", "/var/cached"}, circumstances),
            (Result{0, "excluded  /var/cache/x/y\nscan      /var/cached\n", ""}));
}

}  // namespace
}  // namespace Test
}  // namespace QVL
