// What the windows say in another language, and whether it fits.
#include "app/language.h"

#include <gtest/gtest.h>

#include <QAbstractButton>
#include <QCheckBox>
#include <QLabel>
#include <QListWidget>
#include <QMenuBar>
#include <QRadioButton>
#include <QSet>

#include "session/frm_login.h"
#include "text/said.h"
#include "ui/frm_about.h"
#include "ui/meeting_desk.h"
#include "ui/preferences/frm_preferences.h"
#include "whiteboard/toolbar_view.h"

using namespace Qt::StringLiterals;
using namespace std::string_literals;

namespace {

QChar Letter(const QString& text)
{
    for (qsizetype i = 0; i + 1 < text.size(); ++i) {
        if (text[i] != u'&') continue;
        if (text[i + 1] != u'&') return text[i + 1].toLower();
        ++i;
    }
    return {};
}

/// The letters that two of `texts` have.
QString Doubled(const QStringList& texts)
{
    QSet<QChar> seen;
    QString twice;
    for (const QString& text : texts) {
        const QChar letter = Letter(text);
        if (letter.isNull()) continue;
        if (seen.contains(letter)) twice += letter;
        seen.insert(letter);
    }
    return twice;
}

QStringList Captions(const QList<QAction*>& actions)
{
    QStringList captions;
    for (const QAction* action : actions) captions += action->text();
    return captions;
}

/// Captions of the labels and buttons that are seen.
QStringList Shown(const QWidget& window)
{
    QStringList texts;
    for (const QLabel* label : window.findChildren<QLabel*>())
        if (label->isVisible() && label->buddy()) texts += label->text();
    for (const QAbstractButton* button : window.findChildren<QAbstractButton*>())
        if (button->isVisible()) texts += button->text();
    return texts;
}

int Needed(const QWidget& control, const QString& text)
{
    return QFontMetrics(control.font()).size(Qt::TextShowMnemonic, text).width();
}

/// Names and texts of what is not wide enough for its text.
QStringList Clipped(const QWidget& window)
{
    QStringList clipped;
    const auto check = [&](const QWidget& control, const QString& text, int needed, int room) {
        if (!text.isEmpty() && needed > room)
            clipped += u"%1 \"%2\": %3 of %4"_s.arg(control.objectName(), text).arg(needed).arg(room);
    };
    for (const QLabel* label : window.findChildren<QLabel*>())
        if (label->isVisible() && label->wordWrap())
            check(*label, label->text(), label->heightForWidth(label->width()), label->height());
        else if (label->isVisible() && label->pixmap().isNull())
            check(*label, label->text(), Needed(*label, label->text()), label->contentsRect().width());
    for (const QAbstractButton* button : window.findChildren<QAbstractButton*>()) {
        if (!button->isVisible()) continue;
        const bool marked =
            qobject_cast<const QCheckBox*>(button) || qobject_cast<const QRadioButton*>(button);
        check(*button, button->text(), marked ? button->sizeHint().width() : Needed(*button, button->text()),
              button->width());
    }
    return clipped;
}

/// In each language of the windows, and in the one between.
const struct {
    const char* name;
    const char16_t* wanted;
    QStringList desktop;
} kLooks[] = {
    {"English", u"en", {}}, {"German", u"de", {}}, {"a German desktop", u"", {u"de-DE"_s, u"de"_s}}};

}  // namespace

TEST(Language, IsTheOneAskedForOrTheDesktopsFirst)
{
    const struct {
        const char* why;
        const char16_t* wanted;
        QStringList desktop;
        LanguageChoice choice;
    } rows[] = {
        {"asked for", u"de", {u"en-US"_s}, {u"de"_s, true, true}},
        {"English asked for on a German desktop", u"en", {u"de-DE"_s}, {{}, false, true}},
        {"a German desktop", u"", {u"de-DE"_s, u"de"_s}, {u"de"_s, false, true}},
        {"an Austrian one", u"", {u"de-AT"_s}, {u"de"_s, false, true}},
        {"German where there is no French", u"", {u"fr-FR"_s, u"fr"_s, u"de-DE"_s}, {u"de"_s, false, true}},
        {"English is dearer", u"", {u"en-GB"_s, u"de-DE"_s}, {{}, false, true}},
        {"no language", u"", {u"C"_s}, {{}, false, true}},
        {"nothing known", u"", {}, {{}, false, true}},
        {"begins like one", u"", {u"del-US"_s}, {{}, false, true}},
        {"none of ours", u"xx", {u"de-DE"_s}, {u"de"_s, false, false}},
        {"a path", u"../de", {}, {{}, false, false}},
    };
    for (const auto& row : rows)
        EXPECT_EQ(ChooseLanguage(QString::fromUtf16(row.wanted), row.desktop, {u"de"_s}), row.choice)
            << row.why;
}

TEST(Language, MenusStayOnAGermanDesktopUntilGermanIsChosen)
{
    const auto shown = [](const QString& wanted, const QString& desktop) {
        const Language language(wanted, {desktop});
        const MeetingDesk desk;
        return QStringList{desk.window->menuBar()->actions().front()->text(),
                           desk.Panel().txtMessage->accessibleName()};
    };
    EXPECT_EQ(shown({}, u"de-DE"_s), (QStringList{u"&Meeting"_s, u"Nachricht"_s}));
    EXPECT_EQ(shown(u"de"_s, u"en-US"_s), (QStringList{u"&Besprechung"_s, u"Nachricht"_s}));
    EXPECT_EQ(shown(u"en"_s, u"de-DE"_s), (QStringList{u"&Meeting"_s, u"Message"_s}));
}

TEST(Language, EveryTextFitsAndEveryLetterOpensOneThing)
{
    for (const auto& look : kLooks) {
        SCOPED_TRACE(look.name);
        const bool german = look.wanted == u"de"s;  // elsewhere some letters are the given ones
        const auto check = [](const QWidget& window, bool letters) {
            EXPECT_EQ(Clipped(window).join(u'\n').toStdString(), "");
            if (letters) {
                EXPECT_EQ(Doubled(Shown(window)).toStdString(), "");
            }
        };
        const Language language(QString::fromUtf16(look.wanted), look.desktop);
        WholeDesk desk;
        EXPECT_EQ(Clipped(desk.Panel()).join(u'\n').toStdString(), "");
        EXPECT_LE(desk.Find<ToolbarView>("tool")->sizeHint().width(), 680);
        QStringList window = Captions(desk.window->menuBar()->actions());
        window += desk.Panel().cmdWhisper->text();
        QStringList twice{Doubled(window)};
        for (const QAction* menu : desk.window->menuBar()->actions())
            twice += Doubled(Captions(menu->menu()->actions()));
        EXPECT_TRUE(!german || twice.join(QString()).isEmpty()) << twice.join(u'|').toStdString();
        frmAbout about(desk.state, desk.window.get());
        about.show();
        check(about, german);
        Fixture first;
        frmLogin login(first.state);
        login.findChild<QAbstractButton*>(u"chkMore"_s)->setChecked(true);
        login.show();
        check(login, german);
        frmPreferences preferences(
            first.state, true, [](const Stored&) {}, nullptr);
        preferences.show();
        for (int page = 0; page < kPreferencePages; ++page) {
            SCOPED_TRACE(page);
            preferences.findChild<QListWidget*>(u"lstPages"_s)->setCurrentRow(page);
            QCoreApplication::processEvents();
            check(preferences, *look.wanted);
        }
    }
}

TEST(Language, SaysWhatTheLinkSays)
{
    const struct {
        const char *english, *german;
    } rows[] = {
        {"The connection is back.", "Die Verbindung steht wieder."},
        {"Cut off, trying again: the service closed the connection",
         "Verbindung unterbrochen, neuer Versuch: der Dienst hat die Verbindung geschlossen"},
        {"The service a.example:7420 cannot be reached: Connection refused. Check its address and your "
         "network, "
         "then try again.",
         "Der Dienst a.example:7420 ist nicht zu erreichen: Verbindung abgelehnt. Prüfen Sie seine Adresse "
         "und Ihr "
         "Netz und versuchen Sie es dann erneut."},
        {"Not delivered: 2 lines to bob; 1 drawing to everyone.",
         "Nicht zugestellt: 2 Zeilen an bob; 1 Zeichnung an alle."},
        {"Not delivered: 1 line to %1 %2.", "Nicht zugestellt: 1 Zeile an %1 %2."},  // a strange handle
        {"Cut off, trying again: lunch", "Verbindung unterbrochen, neuer Versuch: lunch"},
        {"The connection is back", "The connection is back"},  // another sentence
        {"", ""},
    };
    const Language german(u"de"_s, {});
    for (const auto& row : rows) EXPECT_EQ(Said(QString::fromUtf8(row.english)).toStdString(), row.german);
    const QString many = u"x; "_s.repeated(100'000);
    EXPECT_EQ(Said(many), many);
}
