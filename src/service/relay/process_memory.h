#pragma once
// What a process that serves asks of the allocator and of the kernel. Once, in main.

namespace zephyl {

/// Before any thread is started.
void PrepareMemory();

/// When the start is over: gives back the pages of programs and libraries that hold nothing of our own. Most
/// were read once, by the loader; what is needed again comes back from the system's cache at its first use.
void ForgetStart();

}  // namespace zephyl
