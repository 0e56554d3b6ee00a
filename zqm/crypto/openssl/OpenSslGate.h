// The gate in front of OpenSSL, which is torn down at exit while other threads still run.
#pragma once

namespace zqm {

// Construct one on the stack around every call into OpenSSL, direct or indirect. Any number of
// threads may be inside at once, and a thread may enter again. At exit the gate waits until the
// other threads have left, then stays closed. Threads that enter later block for ever; the exiting
// thread itself is refused. Therefore never wait inside (poll, host callback), and never enter
// while holding a lock that an exit handler may take.
class OpenSslGate {
 public:
  OpenSslGate();
  ~OpenSslGate();
  OpenSslGate(const OpenSslGate&) = delete;
  OpenSslGate& operator=(const OpenSslGate&) = delete;

  // Closes the gate at exit even if no thread has entered it: during the exit no thread may begin
  // to load or initialise anything, because the destructors of libraries run. Call this before the
  // library's first thread starts.
  static void closeAtExit();

  // False if OpenSSL must not be called any more: on the exiting thread after the gate has closed,
  // or on the thread that finds OpenSSL already torn down.
  explicit operator bool() const { return entered_; }

 private:
  const bool entered_;
};

}  // namespace zqm
