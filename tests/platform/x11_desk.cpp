#include "platform/x11_desk.h"

#include <poll.h>

#include <chrono>
#include <cstdlib>
#include <stdexcept>

using namespace Qt::StringLiterals;

X11Desk::X11Desk(bool manager) : mScreen({640, 480}, manager, {}, mFolder / "log")
{
    mConnection = xcb_connect(Display().toLatin1().constData(), nullptr);
    if (xcb_connection_has_error(mConnection)) throw std::runtime_error("no virtual display");
    const xcb_screen_t* screen = xcb_setup_roots_iterator(xcb_get_setup(mConnection)).data;
    const quint32 events = XCB_EVENT_MASK_PROPERTY_CHANGE | XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY;
    xcb_change_window_attributes(mConnection, screen->root, XCB_CW_EVENT_MASK, &events);
    xcb_flush(mConnection);
}

X11Desk::~X11Desk()
{
    xcb_disconnect(mConnection);
}

std::unique_ptr<stage::Child> X11Desk::Start(const QString& program, const QStringList& arguments)
{
    return std::make_unique<stage::Child>(
        program, arguments, std::map<QString, QString>{{u"DISPLAY"_s, Display()}}, mFolder / "log");
}

X11Desk::Window X11Desk::Open(const QString& name, const QString& title, const QRect& place,
                              const QString& colour, bool hidden)
{
    QStringList words{name, title};
    for (const int number : {place.x(), place.y(), place.width(), place.height()})
        words += QString::number(number);
    words += colour;
    if (hidden) words += u"hidden"_s;
    Window window{Start(stage::Programs() + u"/x11_double"_s, words)};
    window.id = window.process->ReadLine().trimmed().split(' ').at(1).toUInt();
    return window;
}

void X11Desk::Run(const QString& program, const QStringList& arguments)
{
    if (Start(program, arguments)->WaitForEnd() != 0)
        throw std::runtime_error(program.toStdString() + " failed");
}

bool X11Desk::Until(const std::function<bool()>& condition)
{
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (!condition()) {
        const auto left =
            std::chrono::ceil<std::chrono::milliseconds>(end - std::chrono::steady_clock::now());
        pollfd server{xcb_get_file_descriptor(mConnection), POLLIN, 0};
        if (left.count() <= 0) return false;
        poll(&server, 1, int(std::min<qint64>(left.count(), 50)));  // not every change is told to us
        while (auto* event = xcb_poll_for_event(mConnection)) std::free(event);
    }
    return true;
}
