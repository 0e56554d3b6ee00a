// Hosts that end while the library is at work.
#pragma once

namespace zqm::soak {

// What the host is told, in its environment. The directory of its Info.plist, its data, the
// protected identifier, and an https address at which nothing is answered, with its authorities.
inline constexpr const char* kExitPackage = "ZQM_EXIT_PACKAGE";
inline constexpr const char* kExitData = "ZQM_EXIT_DATA";
inline constexpr const char* kExitApplicationId = "ZQM_EXIT_APPLICATION_ID";
inline constexpr const char* kExitUrl = "ZQM_EXIT_URL";
inline constexpr const char* kExitAuthorities = "ZQM_EXIT_AUTHORITIES";
// "stalled", "queued" or "pending", or "idle" for a host that never calls the library. "launching"
// for one that ends so many microseconds after its first start call, "digest" for one that has only
// used a digest, on a thread that is gone.
inline constexpr const char* kExitSituation = "ZQM_EXIT_SITUATION";
inline constexpr const char* kExitDelay = "ZQM_EXIT_DELAY";
// "exit" or "return"; "cleanup" for a return from main after the host has cleaned up OpenSSL
// itself, "unload" for one after it has closed its plugin.
inline constexpr const char* kExitEnding = "ZQM_EXIT_ENDING";

// How `exit` is called.
inline constexpr int kExitCode = 7;

// In the host's process: starts the library, brings it into the situation, prints the instant as
// "ending=" (nanoseconds of the steady clock), and exits, or comes back for the return from main.
void runExitHost();

}  // namespace zqm::soak
