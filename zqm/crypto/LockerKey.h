// The public key inside the library. Private to this folder.
#pragma once

namespace zqm {

// PEM SubjectPublicKeyInfo (RFC 7468), as the build was configured with.
extern const char lockerPublicKey[];

}  // namespace zqm
