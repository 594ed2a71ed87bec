#include "service/relay/process_memory.h"

#include <link.h>
#include <malloc.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>

namespace zephyl {
namespace {

// A batch and its encrypted form come and go with each receiver. At the allocator's own bound, 128 KiB, their
// pages would go back to the system and be cleared anew every time.
constexpr int kKeptBytes = 1024 * 1024;

// Only what cannot have been written to: a page that was would lose it.
int ForgetUnwritten(dl_phdr_info* object, std::size_t, void*)
{
    const auto page = static_cast<std::uintptr_t>(::sysconf(_SC_PAGESIZE));
    for (int i = 0; i < object->dlpi_phnum; ++i) {
        const ElfW(Phdr)& part = object->dlpi_phdr[i];
        if (part.p_type != PT_LOAD || (part.p_flags & PF_W)) continue;
        const std::uintptr_t begin = (object->dlpi_addr + part.p_vaddr) & ~(page - 1);
        const std::uintptr_t end = object->dlpi_addr + part.p_vaddr + part.p_filesz;
        // NOLINTNEXTLINE(performance-no-int-to-ptr): so the loader tells them
        ::madvise(reinterpret_cast<void*>(begin), end - begin, MADV_DONTNEED);
    }
    return 0;
}

}  // namespace

void PrepareMemory()
{
    ::mallopt(M_MMAP_THRESHOLD, kKeptBytes);
    ::mallopt(M_TRIM_THRESHOLD, kKeptBytes);
    ::mallopt(M_TOP_PAD, kKeptBytes);  // what threads have of their own is given back down to this
}

void ForgetStart()
{
    ::dl_iterate_phdr(ForgetUnwritten, nullptr);
}

}  // namespace zephyl
