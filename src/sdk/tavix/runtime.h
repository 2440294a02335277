#pragma once

namespace Tavix {

/// The library counts its users: each TavixInitialize is matched by one TavixTerminate(true),
/// and the library ends with the last of them.
void TavixInitialize();
void TavixTerminate(bool shutDownLogging = true);

/// Whether the library is initialised now.
bool IsTavixInitialized();

/// Gives the platform's lowest and highest real-time thread priority; 0 and 0 where it has none.
void GetRTThreadPriorityCapabilities(int& min, int& max);

namespace WaitObject {
/// Blocks the calling thread.
void Sleep(unsigned long milliseconds);
}

} // namespace Tavix
