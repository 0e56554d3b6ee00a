// Keeps the code of this library loaded.
#pragma once

namespace zqm {

// Pins the shared library or plugin that contains this code: it is never unloaded, whatever the
// host closes. Waits for the dynamic loader's lock, so do not call this on the host's thread, nor
// while libraries are torn down at exit: the loader would initialise them again.
void pinThisLibrary();

}  // namespace zqm
