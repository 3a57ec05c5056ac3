// The C runtime's random generator as host threads meet it. Where the runtime
// keeps one generator for the process (glibc, macOS), nothing is done: threads
// draw from the one sequence, which a single thread sees exactly as before.
// Where it keeps one per thread and starts each new thread at the same fixed
// seed (the Windows C runtime), every host thread other than the one that
// started the plugin seeds its own generator before its first draw, so that
// threads do not return the same bytes.
#pragma once

namespace ztk::random {

// Called by the plugin's entry point, on the thread that starts it.
void note_start_thread();
// Called before a method's first rand() on this thread.
void prepare_thread();

}  // namespace ztk::random
