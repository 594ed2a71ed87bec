#pragma once
// How long a window on a virtual display leaves the display without an answer. Somebody has selected text in
// it; a thread asks for that text every 2 ms, and the window's user-interface thread answers.

#include <QString>
#include <memory>
#include <vector>

namespace reliability {

class WindowProbe {
public:
    explicit WindowProbe(const QString& display);
    ~WindowProbe();
    WindowProbe(const WindowProbe&) = delete;
    WindowProbe& operator=(const WindowProbe&) = delete;

    /// Milliseconds until each answer since then, the longest one last. Throws std::runtime_error when the
    /// window has not answered at all.
    void Begin();
    std::vector<double> End();

private:
    struct Asking;
    std::unique_ptr<Asking> mAsking;
};

}  // namespace reliability
