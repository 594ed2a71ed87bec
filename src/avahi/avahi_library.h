#pragma once
// The functions of Avahi's library that we call. It is opened when somebody announces or looks: nobody else
// has it loaded, and computers without it run the programs.

#include <avahi-client/client.h>
#include <avahi-client/lookup.h>
#include <avahi-client/publish.h>
#include <avahi-common/alternative.h>
#include <avahi-common/error.h>
#include <avahi-common/malloc.h>
#include <avahi-common/simple-watch.h>
#include <avahi-common/strlst.h>
#include <dlfcn.h>

// clang-format off
#define QUORVIA_AVAHI_FUNCTIONS(F) \
    F(avahi_address_snprint) \
    F(avahi_alternative_service_name) \
    F(avahi_client_free) \
    F(avahi_client_get_host_name) \
    F(avahi_client_new) \
    F(avahi_entry_group_add_service) \
    F(avahi_entry_group_commit) \
    F(avahi_entry_group_is_empty) \
    F(avahi_entry_group_new) \
    F(avahi_entry_group_reset) \
    F(avahi_free) \
    F(avahi_service_browser_new) \
    F(avahi_service_resolver_free) \
    F(avahi_service_resolver_new) \
    F(avahi_simple_poll_free) \
    F(avahi_simple_poll_get) \
    F(avahi_simple_poll_iterate) \
    F(avahi_simple_poll_new) \
    F(avahi_simple_poll_wakeup) \
    F(avahi_strerror) \
    F(avahi_string_list_find) \
    F(avahi_string_list_get_pair)
// clang-format on

struct AvahiLibrary {
#define QUORVIA_MEMBER(name) decltype(&::name) name = nullptr;  // NOLINT(bugprone-macro-parentheses): a name
    QUORVIA_AVAHI_FUNCTIONS(QUORVIA_MEMBER)
#undef QUORVIA_MEMBER

    /// Null where it is not installed, or lacks one of them. Any thread.
    static const AvahiLibrary* Open()
    {
        static const AvahiLibrary library;
        return library.mWhole ? &library : nullptr;
    }

private:
    AvahiLibrary()
    {
        // What the two libraries share comes with the client's.
        void* handle = dlopen("libavahi-client.so.3", RTLD_NOW | RTLD_LOCAL);
        mWhole = handle != nullptr;
#define QUORVIA_FIND(function)                                                                    \
    function = mWhole ? reinterpret_cast<decltype(function)>(dlsym(handle, #function)) : nullptr; \
    mWhole = mWhole && (function);
        QUORVIA_AVAHI_FUNCTIONS(QUORVIA_FIND)
#undef QUORVIA_FIND
    }
    bool mWhole = false;
};
