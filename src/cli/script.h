#pragma once
// A script as an attendee: one JSON object in is one command, one out its answer or an event.

#include <QJsonObject>
#include <functional>

#include "contract/messenger_service.h"

class Script final : public MessengerEvents {
public:
    /// `write` prints one object. `saveFolder` "": pictures are not kept.
    Script(MessengerService& service, QString saveFolder, std::function<void(const QJsonObject&)> write);

    /// Answers exactly once, whatever the line is. False: the script is done.
    bool Line(const QByteArray& line);

    void NewMessage(const QString& fromHandle, const QString& message) override;
    void StatusChanged(const QString& userHandle, qint32 newStatus) override;
    void VideoFrame(const QString& fromHandle, const PicturePtr& frame, int x, int y,
                    qint32 frameType) override;
    void TakenBack(const QString& fromHandle, const QString& handle) override;
    void LinkChanged(const LinkState& state) override;

private:
    using Handler = QJsonObject (Script::*)(const QJsonObject& command);
    static Handler Find(const QString& name);

    QJsonObject Login(const QJsonObject& command);
    QJsonObject Permission(const QJsonObject& command);
    QJsonObject Create(const QJsonObject& command);
    QJsonObject Join(const QJsonObject& command);
    QJsonObject Users(const QJsonObject& command);
    QJsonObject ServerKey(const QJsonObject& command);
    QJsonObject Send(const QJsonObject& command);
    QJsonObject Deliver(const QJsonObject& command);
    QJsonObject Frame(const QJsonObject& command);
    QJsonObject TakeBack(const QJsonObject& command);
    QJsonObject Stats(const QJsonObject& command);
    QJsonObject Leave(const QJsonObject& command);
    QJsonObject Logout(const QJsonObject& command);
    QJsonObject Quit(const QJsonObject& command);
    QJsonObject Answer(bool ok) const;
    template <class Enter>
    QJsonObject Entering(const QJsonObject& command, Enter enter);
    void RequireSession() const;
    std::vector<std::shared_ptr<UserItem>> Recipients(const QJsonObject& command) const;

    MessengerService& mService;
    const QString mSaveFolder;
    const std::function<void(const QJsonObject&)> mWrite;
    std::shared_ptr<UsersCollection> mUsers;
    LinkState::Phase mPhase = LinkState::Phase::Offline;
    QString mEnded;  // why the session is over; "" while it is not
    QString mNoted;  // the text of the link's state told last
    int mSaved = 0;
    bool mDone = false;
};
