#include "reliability/window_probe.h"

#include <xcb/xcb.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <thread>

using namespace std::chrono_literals;

namespace reliability {

struct WindowProbe::Asking {
    using Clock = std::chrono::steady_clock;

    explicit Asking(const QString& display) : x(xcb_connect(display.toLatin1().constData(), nullptr))
    {
        const xcb_screen_t* screen = xcb_setup_roots_iterator(xcb_get_setup(x)).data;
        own = xcb_generate_id(x);
        xcb_create_window(x, 0, own, screen->root, 0, 0, 1, 1, 0, XCB_WINDOW_CLASS_INPUT_ONLY,
                          screen->root_visual, 0, nullptr);
        text = Atom("UTF8_STRING");
        thread = std::jthread([this](const std::stop_token& stop) { Run(stop); });
    }
    ~Asking()
    {
        thread.request_stop();
        thread.join();
        xcb_disconnect(x);
    }

    xcb_atom_t Atom(const char* name)
    {
        auto* reply =
            xcb_intern_atom_reply(x, xcb_intern_atom(x, 0, uint16_t(std::strlen(name)), name), nullptr);
        const xcb_atom_t atom = reply ? reply->atom : 0;
        std::free(reply);
        return atom;
    }

    void Run(const std::stop_token& stop)
    {
        while (!stop.stop_requested()) {
            const auto begun = Clock::now();
            {
                const std::lock_guard lock(mutex);
                asked = begun;
            }
            xcb_convert_selection(x, own, XCB_ATOM_PRIMARY, text, text, XCB_CURRENT_TIME);
            xcb_flush(x);
            if (!Answered()) return;
            Note(begun);
            std::this_thread::sleep_for(2ms);
        }
    }

    /// False: nobody has selected anything, so it is not the window that answers.
    bool Answered()
    {
        while (xcb_generic_event_t* event = xcb_wait_for_event(x)) {
            const auto* answer = reinterpret_cast<xcb_selection_notify_event_t*>(event);
            const bool any = (event->response_type & 0x7f) == XCB_SELECTION_NOTIFY;
            const bool ours = any && answer->property == text;
            std::free(event);
            if (any) return ours;
        }
        return false;
    }

    void Note(Clock::time_point begun)
    {
        const std::lock_guard lock(mutex);
        if (keep) times.push_back(std::chrono::duration<double, std::milli>(Clock::now() - begun).count());
        asked.reset();
        answered.notify_all();
    }

    xcb_connection_t* x;
    xcb_window_t own = 0;
    xcb_atom_t text = 0;
    std::mutex mutex;
    std::condition_variable answered;
    bool keep = false;
    std::optional<Clock::time_point> asked;  // and not answered yet
    std::vector<double> times;
    std::jthread thread;
};

WindowProbe::WindowProbe(const QString& display) : mAsking(std::make_unique<Asking>(display)) {}

WindowProbe::~WindowProbe() = default;

void WindowProbe::Begin()
{
    const std::lock_guard lock(mAsking->mutex);
    mAsking->keep = true;
    mAsking->times.clear();
}

// What is still waited for counts with the time that it has taken so far.
std::vector<double> WindowProbe::End()
{
    constexpr std::chrono::seconds kFirst{
        30};  // what was over within the 2 ms between two questions has none yet
    std::unique_lock lock(mAsking->mutex);
    mAsking->answered.wait_for(lock, kFirst, [this] { return !mAsking->times.empty(); });
    mAsking->keep = false;
    std::vector<double> times = std::move(mAsking->times);
    if (times.empty()) throw std::runtime_error("the window has not answered");
    if (mAsking->asked)
        times.push_back(
            std::chrono::duration<double, std::milli>(Asking::Clock::now() - *mAsking->asked).count());
    std::ranges::sort(times);
    return times;
}

}  // namespace reliability
