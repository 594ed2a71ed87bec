#pragma once
// The functions of PipeWire's library that we call, from the library where it is installed.

#include <dlfcn.h>
#include <pipewire/pipewire.h>

// clang-format off
#define QUORVIA_PIPEWIRE_FUNCTIONS(F) \
    F(pw_init) \
    F(pw_loop_new) \
    F(pw_loop_destroy) \
    F(pw_context_new) \
    F(pw_context_destroy) \
    F(pw_context_connect_fd) \
    F(pw_core_disconnect) \
    F(pw_properties_new) \
    F(pw_stream_new) \
    F(pw_stream_destroy) \
    F(pw_stream_add_listener) \
    F(pw_stream_connect) \
    F(pw_stream_update_params) \
    F(pw_stream_dequeue_buffer) \
    F(pw_stream_queue_buffer)
// clang-format on

struct PipeWireLibrary {
#define QUORVIA_MEMBER(name) decltype(&::name) name = nullptr;  // NOLINT(bugprone-macro-parentheses): a name
    QUORVIA_PIPEWIRE_FUNCTIONS(QUORVIA_MEMBER)
#undef QUORVIA_MEMBER

    /// Null where it is not installed, or lacks one of them. It stays open: its threads may outlive a stream.
    static const PipeWireLibrary* Open()
    {
        static const PipeWireLibrary library;
        return library.mWhole ? &library : nullptr;
    }

private:
    PipeWireLibrary()
    {
        void* handle = dlopen("libpipewire-0.3.so.0", RTLD_NOW | RTLD_LOCAL);
        mWhole = handle != nullptr;
#define QUORVIA_FIND(function)                                                                    \
    function = mWhole ? reinterpret_cast<decltype(function)>(dlsym(handle, #function)) : nullptr; \
    mWhole = mWhole && (function);
        QUORVIA_PIPEWIRE_FUNCTIONS(QUORVIA_FIND)
#undef QUORVIA_FIND
        if (mWhole) pw_init(nullptr, nullptr);
    }
    bool mWhole = false;
};
