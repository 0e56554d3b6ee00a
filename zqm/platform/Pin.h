// Keeps the code of this library where it is.
#pragma once

namespace zqm {

// The shared library or the plugin that this code stands in is not unloaded any more, whatever the
// host closes; a program never is. Waits for the system's loader, so not for the host's thread. Not
// while libraries are being torn down at exit: the loader would initialise them once more.
void pinThisLibrary();

}  // namespace zqm
