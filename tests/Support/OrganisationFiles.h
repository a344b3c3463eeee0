#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "tests/Support/Commands.h"

namespace orvik::test {

/// An organisation's private key and certificate as the openssl program makes them.
struct OrganisationFiles {
  std::filesystem::path key;
  std::filesystem::path certificate;

  /// "<name>.key.pem" and "<name>.cert.pem" in `folder`. `kind` is what `openssl req -newkey` takes, with its
  /// options.
  static OrganisationFiles make(const std::filesystem::path& folder, const std::string& name = "org",
                                const std::vector<std::string>& kind = {"ec", "-pkeyopt",
                                                                        "ec_paramgen_curve:P-256"}) {
    OrganisationFiles files{folder / (name + ".key.pem"), folder / (name + ".cert.pem")};
    std::vector<std::string> arguments{"req", "-x509", "-newkey"};
    arguments.insert(arguments.end(), kind.begin(), kind.end());
    for (const auto& each : {std::string("-nodes"), std::string("-keyout"), files.key.string(),
                             std::string("-out"), files.certificate.string(), std::string("-subj"),
                             "/CN=" + name, std::string("-days"), std::string("30")})
      arguments.push_back(each);
    outputOf("openssl", arguments);
    return files;
  }
};

}  // namespace orvik::test
