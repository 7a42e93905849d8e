// A client of clamd, by its socket in the file system.

#ifndef QVL_ONACCESS_CLAMD_CLIENT_H
#define QVL_ONACCESS_CLAMD_CLIENT_H

#include <atomic>
#include <optional>
#include <string>
#include <string_view>

#include "Descriptor.h"
#include "Scanner.h"

namespace onaccess {

// One connection for each command, so that a broken one spoils nothing else:
//
//   zFILDES NUL, then a byte with the descriptor beside it    fd[N]: OK NUL
//                                                             fd[N]: SIGNATURE FOUND NUL
//                                                             fd[N]: REASON ERROR NUL
//   zVERSION NUL                                              ClamAV 1.4.6/27000/DATE NUL
class ClamdClient : public Scanner {
 public:
  // Throws Trouble when `socket` is too long for the name of one.
  explicit ClamdClient(const std::string& socket);

  ScanReply scan(int descriptor, Time deadline) override;
  VersionReply version(Time deadline) override;
  void stop() override;

 private:
  struct Conversation;
  bool connect(Conversation& conversation);
  bool send(Conversation& conversation, std::string_view bytes, std::optional<int> descriptor);
  bool receive(Conversation& conversation);
  bool wait(Conversation& conversation, short events);

  const std::string m_socket;
  const Descriptor m_wake;  // readable once stopped
};

// What a reply to FILDES means; `process` is left to the caller.
ScanReply parseScanReply(std::string_view reply);

// What a reply to VERSION means.
VersionReply parseVersionReply(std::string_view reply);

}  // namespace onaccess

#endif  // QVL_ONACCESS_CLAMD_CLIENT_H
