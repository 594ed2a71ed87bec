// listen and send: a meeting for people at a terminal.
#include <functional>
#include <iostream>
#include <stdexcept>

#include "cli/visit.h"
#include "text/qt_line.h"
#include "text/text_rules.h"

using namespace Qt::StringLiterals;

namespace {

class Teller final : public MessengerEvents {
public:
    /// `ended`: nothing more will come.
    explicit Teller(std::function<void()> ended) : mEnded(std::move(ended)) {}

    void NewMessage(const QString& fromHandle, const QString& message) override
    {
        if (!message.startsWith(u"[[ZUM_"_s)) Say(fromHandle + u": "_s + message);
    }
    void StatusChanged(const QString& userHandle, qint32 newStatus) override
    {
        if (newStatus == kStatusPresent) Say(u"* %1 enters"_s.arg(userHandle));
        if (newStatus == kStatusLeft) Say(u"* %1 leaves"_s.arg(userHandle));
    }
    void VideoFrame(const QString&, const PicturePtr&, int, int, qint32) override {}
    void LinkChanged(const LinkState& state) override
    {
        const bool passing = state.phase == LinkState::Phase::Connected && state.back == LinkState::Back::No;
        const QString before = state.remark ? QString() : std::exchange(mShown, state.text);
        if (!state.text.isEmpty() && state.text != before &&
            !(passing && state.text == QLatin1String(kNotInMeeting)))
            Say(u"* "_s + state.text);
        if (state.phase == LinkState::Phase::Ended) mEnded();
    }

private:
    static void Say(const QString& line) { std::cout << OneLine(line).toStdString() << std::endl; }

    const std::function<void()> mEnded;
    QString mShown;  // of the connection: it says the same for a while
};

/// People need not care how somebody else's handle is written. Throws when there is nobody of that name.
QString AsSpelt(const UsersCollection& users, const QString& handle)
{
    for (const auto& item : users.Items())
        if (item->Handle().compare(Trim(handle), Qt::CaseInsensitive) == 0) return item->Handle();
    return users.Item(handle)->Handle();
}

}  // namespace

int Listen(const PeopleOptions& options)
{
    Visit visit(options);
    for (const auto& item : visit.service->Users()->Items())
        std::cout << "* " << OneLine(item->Handle()).toStdString() << " is here\n";
    std::cout.flush();
    int exitCode = 0;
    Teller teller([&] {
        exitCode = 1;
        visit.loop.Quit();
    });
    visit.service->SetEvents(&teller);
    visit.loop.Run([&] { visit.loop.Quit(); });
    visit.service->SetEvents(nullptr);
    visit.service->Close();
    return exitCode;
}

int Send(const PeopleOptions& options)
{
    const QString text = QString::fromStdString(options.text);
    if (Trim(text).isEmpty()) throw std::runtime_error("there is nothing to say");
    Visit visit(options);
    MessengerService& service = *visit.service;
    QStringList to;
    for (const std::string& handle : options.to) to += QString::fromStdString(handle);
    if (to.isEmpty())
        for (const auto& item : service.Users()->Items())
            if (item->Handle() != service.Handle()) to += item->Handle();
    if (to.isEmpty()) throw std::runtime_error("nobody else is in the meeting");
    for (const QString& handle : to) service.Send(AsSpelt(*service.Users(), handle), text);
    service.Close();  // waits until the service has it
    return 0;
}
