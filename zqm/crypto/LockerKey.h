// The built-in public key. Private to this folder.
#pragma once

namespace zqm {

// A PEM SubjectPublicKeyInfo (RFC 7468), chosen when the build is configured.
extern const char lockerPublicKey[];

}  // namespace zqm
