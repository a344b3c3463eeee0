#pragma once

#include <string_view>

namespace orvik::ctl {

/// The help, as it is printed, without its last line feed. Scripts and people know it by heart: never reword.
inline constexpr std::string_view usage =
    R"(usage: orvikctl <command> [options]

  encrypt --cert <org.cert.pem> [secret]    Encrypt a client secret for the MDM profile
                                            (ORVIK-ENC:v1). Reads the secret from stdin
                                            when omitted (keeps it out of shell history).
  key-info --cert <org.cert.pem>            Key ID and public key (for Tools/encrypt.html)
  keys                                      Key IDs of the organisation identities this user can use
  decrypt --key <org.key.pem> [value]       Decrypt a value offline to test an org key
  list <instance folder>                    Backups of one instance
  verify <instance folder> [backup ID]      Check that every object and file of a backup exists
                                            and is intact (default: the newest backup)
  gc <instance folder>                      Delete store content no backup references
  pack <instance folder>                    Move single object files into one pack file
                                            (far fewer files in OneDrive/SharePoint folders)
  report <instance folder> [backup ID] [--out <dir>]
                                            Create the backup and security PDF reports
                                            (default: into the backup's folder; sealed
                                            there when the backup is encrypted)

Encrypted backups are opened with the organisation key in the keychain, or with
  --key <org.key.pem>                       on list, verify, gc, pack and report.)";

}  // namespace orvik::ctl
