#include "cli/script.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <array>
#include <stdexcept>

#include "cipher/code_page.h"
#include "cipher/password.h"
#include "files/careful_file.h"
#include "service/link/link_messenger.h"
#include "session/login_rules.h"

using namespace Qt::StringLiterals;

namespace {

constexpr std::size_t kPictureFileBytes = 64 << 20;  // what may be sent is far less, and checked by the link

[[noreturn]] void Fail(const QString& text)
{
    throw std::runtime_error(text.toStdString());
}

/// Missing and of another kind are errors: a script that mistypes a field must hear of it.
QString Text(const QJsonObject& command, const QString& name)
{
    const QJsonValue value = command.value(name);
    if (!value.isString()) Fail(u"\"%1\" must be a text"_s.arg(name));
    return value.toString();
}

int Number(const QJsonObject& command, const QString& name, std::optional<int> missing = {})
{
    const QJsonValue value = command.value(name);
    if (value.isUndefined() && missing) return *missing;
    const double number = value.toDouble();
    if (!value.isDouble() || number != double(qint32(number)))
        Fail(u"\"%1\" must be a whole number"_s.arg(name));
    return int(number);
}

QStringList Texts(const QJsonObject& command, const QString& name)
{
    QStringList texts;
    const QJsonValue value = command.value(name);
    if (!value.isArray()) Fail(u"\"%1\" must be a list"_s.arg(name));
    for (const auto& one : value.toArray()) {
        if (!one.isString()) Fail(u"\"%1\" must be a list of texts"_s.arg(name));
        texts += one.toString();
    }
    return texts;
}

QByteArray ReadFile(const QString& path)
try {
    return QByteArray::fromStdString(
        files::ReadNamed(QFile::encodeName(path).toStdString(), kPictureFileBytes, files::Owner::Anybody));
} catch (const files::FileProblem& problem) {
    Fail(u"cannot read %1"_s.arg(QString::fromUtf8(problem.what())));
}

QJsonObject Ok()
{
    return {{u"ok"_s, true}};
}

}  // namespace

Script::Script(MessengerService& service, QString saveFolder, std::function<void(const QJsonObject&)> write)
    : mService(service), mSaveFolder(std::move(saveFolder)), mWrite(std::move(write)), mUsers(service.Users())
{
}

Script::Handler Script::Find(const QString& name)
{
    struct Command {
        QLatin1StringView name;
        Handler handler;
    };
    static constexpr std::array kCommands{
        Command{"login"_L1, &Script::Login},   Command{"permission"_L1, &Script::Permission},
        Command{"create"_L1, &Script::Create}, Command{"join"_L1, &Script::Join},
        Command{"users"_L1, &Script::Users},   Command{"server_key"_L1, &Script::ServerKey},
        Command{"send"_L1, &Script::Send},     Command{"deliver"_L1, &Script::Deliver},
        Command{"frame"_L1, &Script::Frame},   Command{"take_back"_L1, &Script::TakeBack},
        Command{"stats"_L1, &Script::Stats},   Command{"leave"_L1, &Script::Leave},
        Command{"logout"_L1, &Script::Logout}, Command{"quit"_L1, &Script::Quit},
    };
    for (const Command& command : kCommands)
        if (command.name == name) return command.handler;
    Fail(u"there is no such command"_s);
}

bool Script::Line(const QByteArray& line)
{
    QJsonValue name;  // null until the line is known to have one
    try {
        QJsonParseError error;
        const QJsonDocument document = QJsonDocument::fromJson(line, &error);
        if (!document.isObject())
            Fail(error.error ? u"not a JSON object: %1"_s.arg(error.errorString()) : u"not a JSON object"_s);
        name = document.object().value(u"do"_s);
        if (!name.isString()) Fail(u"\"do\" must name a command"_s);
        QJsonObject reply = (this->*Find(name.toString()))(document.object());
        reply.insert(u"reply"_s, name);
        mWrite(reply);
    } catch (const std::exception& e) {
        mWrite(
            {{u"error"_s, QString::fromUtf8(e.what())}, {u"do"_s, name.isUndefined() ? QJsonValue() : name}});
    }
    return !mDone;
}

/// What is sent behind the session's end would be lost without a word.
void Script::RequireSession() const
{
    if (!mService.LoggedIn()) Fail(mEnded.isEmpty() ? u"There is no session."_s : mEnded);
}

// --- commands ------------------------------------------------------------------------------------------

QJsonObject Script::Login(const QJsonObject& command)
{
    const QString password = Text(command, u"password"_s);
    const QString hostname = command.contains(u"hostname"_s) ? Text(command, u"hostname"_s) : QString();
    if (!SurvivesCodePage(password))
        return {{u"ok"_s, false}, {u"reason"_s, u"The password has characters outside Windows-1252."_s}};
    return Answer(mService.Login(Text(command, u"handle"_s), EncipherPassword(password), hostname));
}

QJsonObject Script::Permission(const QJsonObject&)
{
    return {{u"allowed"_s, mService.HasMeetingPermission()}};
}

QJsonObject Script::Answer(bool ok) const
{
    if (ok) return Ok();
    return {{u"ok"_s, false}, {u"reason"_s, mService.LastRefusal()}};
}

/// What is no code does not leave this computer.
template <class Enter>
QJsonObject Script::Entering(const QJsonObject& command, Enter enter)
{
    const QString code = Text(command, u"code"_s);
    RequireSession();
    if (const LoginFault fault = CheckCode(code); fault != LoginFault::None)
        return {{u"ok"_s, false}, {u"reason"_s, FaultMessage(fault)}};
    const bool ok = enter(code);
    mUsers = mService.Users();
    return Answer(ok);
}

QJsonObject Script::Create(const QJsonObject& command)
{
    return Entering(command, [&](const QString& code) { return mService.CreateMeeting(code, QString()); });
}

QJsonObject Script::Join(const QJsonObject& command)
{
    return Entering(command, [&](const QString& code) { return mService.JoinMeeting(code); });
}

QJsonObject Script::Users(const QJsonObject&)
{
    QJsonArray handles;
    for (const auto& item : mUsers->Items()) handles.append(item->Handle());
    return {{u"handles"_s, handles}};
}

QJsonObject Script::ServerKey(const QJsonObject&)
{
    RequireSession();
    return {{u"key"_s, mService.ServerKey()}};
}

QJsonObject Script::Send(const QJsonObject& command)
{
    const QString to = Text(command, u"to"_s), text = Text(command, u"text"_s);
    RequireSession();
    mService.Send(to, text);
    return Ok();
}

/// Whoever is not in the list of users cannot be reached: an error before anything is sent.
std::vector<std::shared_ptr<UserItem>> Script::Recipients(const QJsonObject& command) const
{
    const QStringList handles = Texts(command, u"to"_s);
    RequireSession();
    std::vector<std::shared_ptr<UserItem>> items;
    for (const QString& handle : handles) items.push_back(mUsers->Item(handle));
    return items;
}

QJsonObject Script::Deliver(const QJsonObject& command)
{
    const QString text = Text(command, u"text"_s);
    for (const auto& item : Recipients(command)) item->Deliver(mService.Handle(), QString(), text, 0);
    return Ok();
}

QJsonObject Script::Frame(const QJsonObject& command)
{
    const QByteArray jpeg = ReadFile(Text(command, u"file"_s));
    const QString handle = command.contains(u"handle"_s) ? Text(command, u"handle"_s) : mService.Handle();
    const int x = Number(command, u"x"_s), y = Number(command, u"y"_s);
    const int type = Number(command, u"type"_s), quality = Number(command, u"quality"_s, 65);
    for (const auto& item : Recipients(command)) item->SendVideoFrame(jpeg, handle, x, y, type, quality);
    return Ok();
}

QJsonObject Script::TakeBack(const QJsonObject& command)
{
    const QString whose = Text(command, u"handle"_s);
    RequireSession();
    mService.TakeBack(whose);
    return Ok();
}

QJsonObject Script::Stats(const QJsonObject&)
{
    const LinkStats stats = StatsOf(mService);
    const auto pair = [](std::uint64_t talk, std::uint64_t board) {
        return QJsonObject{{u"talk"_s, qint64(talk)}, {u"board"_s, qint64(board)}};
    };
    const auto road = [](bool udp) { return udp ? u"udp"_s : u"tls"_s; };
    QJsonObject told{{u"outbox"_s, qint64(stats.outbox)},
                     {u"have"_s, pair(stats.numberTalk, stats.numberBoard)},
                     {u"accepted"_s, pair(stats.acceptedTalk, stats.acceptedBoard)},
                     {u"cursors"_s, pair(stats.cursorTalk, stats.cursorBoard)},
                     {u"reconnects"_s, qint64(stats.reconnects)},
                     {u"bytes_sent"_s, qint64(stats.bytesOut)},
                     {u"bytes_received"_s, qint64(stats.bytesIn)},
                     {u"round_trip_us"_s, qint64(stats.roundTripMicroseconds)},
                     {u"live_up"_s, road(stats.upByUdp)},
                     {u"live_down"_s, road(stats.downByUdp)},
                     {u"datagrams"_s, QJsonObject{{u"sent"_s, qint64(stats.datagramsSent)},
                                                  {u"lost"_s, qint64(stats.datagramsLost)},
                                                  {u"received"_s, qint64(stats.datagramsReceived)},
                                                  {u"missed"_s, qint64(stats.datagramsMissed)}}}};
    if (!stats.relay.empty()) told[u"relay"_s] = QString::fromStdString(stats.relay);
    return told;
}

QJsonObject Script::Leave(const QJsonObject&)
{
    mService.LeaveMeeting();
    return Ok();
}

QJsonObject Script::Logout(const QJsonObject&)
{
    mService.Logout();
    return Ok();
}

QJsonObject Script::Quit(const QJsonObject&)
{
    mService.Close();
    mDone = true;
    return Ok();
}

// --- events --------------------------------------------------------------------------------------------

void Script::NewMessage(const QString& fromHandle, const QString& message)
{
    mWrite({{u"event"_s, u"message"_s}, {u"from"_s, fromHandle}, {u"text"_s, message}});
}

void Script::TakenBack(const QString& fromHandle, const QString& handle)
{
    mWrite({{u"event"_s, u"taken_back"_s}, {u"from"_s, fromHandle}, {u"handle"_s, handle}});
}

void Script::StatusChanged(const QString& userHandle, qint32 newStatus)
{
    bool known = false;
    for (const auto& item : mUsers->Items()) known |= item->Handle() == userHandle;
    if (newStatus == kStatusPresent && !known) {
        auto item = mService.MakeUserItem();
        item->Init(userHandle, true);
        mUsers->Add(std::move(item));
    }
    if (newStatus == kStatusLeft && known) mUsers->Remove(userHandle);
    mWrite({{u"event"_s, u"status"_s}, {u"handle"_s, userHandle}, {u"status"_s, newStatus}});
}

void Script::VideoFrame(const QString& fromHandle, const PicturePtr& frame, int x, int y, qint32 frameType)
{
    QJsonObject event{{u"event"_s, u"frame"_s},
                      {u"from"_s, fromHandle},
                      {u"x"_s, x},
                      {u"y"_s, y},
                      {u"type"_s, frameType},
                      {u"bytes"_s, frame ? qint64(frame->jpeg.size()) : 0},
                      {u"width"_s, frame ? frame->pixels.width : 0},
                      {u"height"_s, frame ? frame->pixels.height : 0}};
    if (frame && !mSaveFolder.isEmpty()) {
        QFile file(u"%1/frame-%2.jpg"_s.arg(mSaveFolder).arg(++mSaved, 6, 10, QChar(u'0')));
        const bool saved = file.open(QIODevice::WriteOnly) && file.write(frame->jpeg) == frame->jpeg.size();
        event.insert(saved ? u"file"_s : u"error"_s, saved ? file.fileName() : file.errorString());
    }
    mWrite(event);
}

void Script::LinkChanged(const LinkState& state)
{
    if (state.remark) return mWrite({{u"event"_s, u"note"_s}, {u"text"_s, state.text}});
    const QString noted = std::exchange(mNoted, state.text);
    const LinkState::Phase before = std::exchange(mPhase, state.phase);
    QString name;
    if (state.phase == LinkState::Phase::Cut && before != state.phase) name = u"cut"_s;
    if (state.phase == LinkState::Phase::Ended && before != state.phase) name = u"ended"_s;
    mEnded = state.phase == LinkState::Phase::Ended ? state.text : QString();
    if (state.back == LinkState::Back::Resumed) name = u"resumed"_s;
    if (state.back == LinkState::Back::Returned) name = u"returned"_s;
    if (!name.isEmpty())
        mWrite({{u"event"_s, u"link"_s}, {u"state"_s, name}, {u"reason"_s, state.text}});
    else if (!state.text.isEmpty() && state.text != noted && state.text != QLatin1String(kNotInMeeting))
        mWrite({{u"event"_s, u"note"_s}, {u"text"_s, state.text}});
}
