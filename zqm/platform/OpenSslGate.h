// The one gate in front of OpenSSL, which is torn down at exit under the threads that still run.
#pragma once

namespace zqm {

// Stand inside one around every call into OpenSSL, direct or through a library that uses it.
// Any number of threads are inside at once, and a thread may enter again. When the process exits,
// the gate waits until the others have left, then stays closed for ever: whoever comes later
// blocks for ever, except the exiting thread itself, which is refused. So nothing that can wait
// for long belongs inside (a poll, a callback of the host), and nobody enters holding a lock that
// an exit handler could want.
class OpenSslGate {
 public:
  OpenSslGate();
  ~OpenSslGate();
  OpenSslGate(const OpenSslGate&) = delete;
  OpenSslGate& operator=(const OpenSslGate&) = delete;

  // Closes the gate at exit, even where nobody has been inside: from then on no thread may begin to
  // load or initialise anything, beside the destructors of libraries. Before the library's first
  // thread starts.
  static void closeAtExit();

  // False only for the exiting thread at the closed gate: OpenSSL must not be called any more.
  explicit operator bool() const { return entered_; }

 private:
  const bool entered_;
};

}  // namespace zqm
