// A window in a process of its own: any program whose window is shared, or the voice companion.
//   x11_double CLASS TITLE X Y WIDTH HEIGHT RRGGBB [hidden]
// Says "ready ID" and then each request it receives as "NUMBER TEXT". Ends with its input, or when it is told
// to close. Called "Voktal" it is the companion, shows itself as VOKTAL_SHOW says and leaves alone its input.
#include <poll.h>
#include <xcb/xcb.h>
#include <xcb/xcb_icccm.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace {

struct Look {
    std::string name, title;
    int16_t x = 0, y = 0;
    uint16_t width = 1, height = 1;
    uint32_t colour = 0;
    bool hidden = false;
};

Look FromArguments(const std::vector<std::string>& words)
{
    return {words.at(1),
            words.at(2),
            int16_t(std::stoi(words.at(3))),
            int16_t(std::stoi(words.at(4))),
            uint16_t(std::stoi(words.at(5))),
            uint16_t(std::stoi(words.at(6))),
            uint32_t(std::stoul(words.at(7), nullptr, 16)),
            words.size() > 8};
}

Look Companion()
{
    const char* show = std::getenv("VOKTAL_SHOW");
    return {"VoktalClass", "Voktal", 5, 5, 40, 30, 0x808080, show && std::string(show) == "0"};
}

void SetNumber(xcb_connection_t* x, xcb_window_t window, const std::string& name, uint32_t number)
{
    auto* const atom =
        xcb_intern_atom_reply(x, xcb_intern_atom(x, 0, uint16_t(name.size()), name.data()), nullptr);
    if (!atom) return;
    xcb_change_property(x, XCB_PROP_MODE_REPLACE, window, atom->atom, XCB_ATOM_CARDINAL, 32, 1, &number);
    std::free(atom);
}

xcb_window_t Open(xcb_connection_t* x, xcb_screen_t* screen, const Look& look)
{
    const xcb_window_t window = xcb_generate_id(x);
    const uint32_t values[] = {look.colour, XCB_EVENT_MASK_STRUCTURE_NOTIFY};
    xcb_create_window(x, XCB_COPY_FROM_PARENT, window, screen->root, look.x, look.y, look.width, look.height,
                      0, XCB_WINDOW_CLASS_INPUT_OUTPUT, screen->root_visual,
                      XCB_CW_BACK_PIXEL | XCB_CW_EVENT_MASK, values);
    const std::string both = "double" + std::string(1, '\0') + look.name + std::string(1, '\0');
    xcb_icccm_set_wm_class(x, window, uint32_t(both.size()), both.data());
    xcb_icccm_set_wm_name(x, window, XCB_ATOM_STRING, 8, uint32_t(look.title.size()), look.title.data());
    xcb_size_hints_t hints{};
    xcb_icccm_size_hints_set_position(&hints, 1, look.x, look.y);
    xcb_icccm_set_wm_normal_hints(x, window, &hints);
    if (const char* client = std::getenv("VOKTAL_CLIENT"))
        SetNumber(x, window, "VOKTAL_CLIENT", uint32_t(std::stoul(client)));
    if (!look.hidden) xcb_map_window(x, window);
    std::free(xcb_get_input_focus_reply(x, xcb_get_input_focus(x), nullptr));  // now everybody sees it
    return window;
}

/// False: it was told to close.
bool Report(xcb_connection_t* x, const xcb_client_message_event_t& message)
{
    const uint32_t number = message.data.data32[0], atom = message.data.data32[2];
    std::string text;
    if (atom)
        if (auto* name = xcb_get_atom_name_reply(x, xcb_get_atom_name(x, atom), nullptr)) {
            text.assign(xcb_get_atom_name_name(name), size_t(xcb_get_atom_name_name_length(name)));
            std::free(name);
        }
    std::printf("%u %s\n", number, text.c_str());
    return number != 16;
}

bool ServeEvents(xcb_connection_t* x)
{
    bool goOn = true;
    while (auto* event = xcb_poll_for_event(x)) {
        if ((event->response_type & 0x7f) == XCB_CLIENT_MESSAGE)
            goOn = Report(x, *reinterpret_cast<xcb_client_message_event_t*>(event)) && goOn;
        std::free(event);
    }
    return goOn && !xcb_connection_has_error(x);
}

}  // namespace

int main(int argc, char** argv)
{
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    const std::vector<std::string> words(argv, argv + argc);
    const bool companion = words[0].ends_with("/Voktal");
    xcb_connection_t* x = xcb_connect(nullptr, nullptr);
    if (xcb_connection_has_error(x)) return 1;
    xcb_screen_t* screen = xcb_setup_roots_iterator(xcb_get_setup(x)).data;
    std::printf("ready %u\n", Open(x, screen, companion ? Companion() : FromArguments(words)));

    pollfd sources[] = {{xcb_get_file_descriptor(x), POLLIN, 0}, {companion ? -1 : 0, POLLIN, 0}};
    while (ServeEvents(x)) {
        poll(sources, 2, -1);
        char rest[64];
        if (sources[1].revents && std::fread(rest, 1, 1, stdin) == 0) break;
    }
    xcb_disconnect(x);
}
