#pragma once
// People and scripts in one meeting, for scenarios.

#include <gtest/gtest.h>

#include "demo/stage.h"
#include "support/files.h"

namespace stage {

using namespace Qt::StringLiterals;

inline QJsonObject Do(const char* what, QJsonObject fields = {})
{
    fields[u"do"_s] = QLatin1String(what);
    return fields;
}

inline Match Message(const QString& from, const QString& text)
{
    return Both(Is("event", u"message"_s), Both(Is("from", from), Is("text", text)));
}

inline Match Begins(const char* field, const QString& with)
{
    return [field = QLatin1String(field), with](const QJsonObject& line) {
        return line.value(field).toString().startsWith(with);
    };
}

inline const std::map<QString, QString> kPeople = {{u"ann"_s, u"ann's secret"_s},
                                                   {u"bob"_s, u"bob's secret"_s},
                                                   {u"eve"_s, u"eve's secret"_s},
                                                   {u"sam"_s, u"sam's secret"_s}};

class Meeting : public testing::Test {
protected:
    /// A desk that knows the service and has its key pinned, with the login dialog open. `data`: more
    /// settings.
    std::unique_ptr<Desk> Sit(const QString& name, bool pinned = true,
                              const std::map<QString, QString>& data = {},
                              const std::map<QString, QString>& environment = {})
    {
        auto desk = std::make_unique<Desk>(folder, name);
        if (pinned) desk->Setting(u"Zephyl\\Trusted Services"_s, service.Address(), service.Fingerprint());
        for (const auto& [key, text] : data)
            desk->Setting(u"Zephyl\\Configs\\(System Default)\\Data"_s, key, text);
        for (const auto& [key, text] : environment) desk->Environment(key, text);
        desk->StartClient({u"--service"_s, service.Address()});
        desk->Wait("dialog", Is("name", u"frmLogin"_s));
        return desk;
    }
    void Enter(Desk& desk, const QString& name, const QString& code, bool join)
    {
        desk.Login(name, kPeople.at(name), code, join);
        desk.Wait("window_whole");
    }
    void Ok(Script& script, const char* what, const QJsonObject& fields)
    {
        ASSERT_TRUE(script.Ask(Do(what, fields))[u"ok"_s].toBool()) << what;
    }
    void Join(Script& script, const QString& name, const QString& code, const char* how = "join")
    {
        Ok(script, "login", {{u"handle"_s, name}, {u"password"_s, kPeople.at(name)}});
        ASSERT_TRUE(script.Ask(Do("permission"))[u"allowed"_s].toBool());
        Ok(script, how, {{u"code"_s, code}});
    }
    void Choose(Desk& desk, const char* button)
    {
        desk.ClickControl(u"tool_"_s + QLatin1String(button));
        desk.Wait("tool", Is("key", QLatin1String(button)));
    }
    /// Waits for the dialog and ends it by this key.
    void Answer(Desk& desk, const QString& dialog, const QString& key)
    {
        desk.Wait("dialog", Is("name", dialog));
        desk.Key(key);
        desk.Wait("dialog_closed", Is("name", dialog));
    }
    /// By the keyboard, to where it is asked about.
    void OpenLastLink(Desk& desk)
    {
        desk.ClickControl(u"txtChat"_s);
        for (const QString& key : {u"ctrl+End"_s, u"Left"_s, u"Return"_s}) desk.Key(key);
        desk.Wait("dialog", Is("name", u"link"_s));
    }
    void Say(Desk& desk, const QString& text)
    {
        desk.ClickControl(u"txtMessage"_s);
        desk.Type(text);
        desk.Key(u"Return"_s);
    }

    Folder folder;
    Service service{folder, kPeople};
};

}  // namespace stage
