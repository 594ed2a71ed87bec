// The login dialog by its keys and buttons.
#include "session/frm_login.h"

#include <gtest/gtest.h>

#include <QAbstractItemView>
#include <QAccessible>
#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QPainter>
#include <QRadioButton>
#include <QScreen>
#include <QStyleOptionButton>
#include <QStyledItemDelegate>
#include <QTest>

#include "cipher/password.h"
#include "platform/neighbours.h"
#include "session/service_list.h"
#include "settings/settings.h"
#include "support/fixture.h"
#include "widgets/contrast.h"
#include "widgets/seen_frames.h"

using namespace Qt::StringLiterals;

namespace {

struct Login : Fixture {
    std::unique_ptr<frmLogin> form;

    void Open()
    {
        form = std::make_unique<frmLogin>(state);
        form->show();
        form->activateWindow();
        QCoreApplication::processEvents();
    }
    template <class W>
    W* Get(const char* name)
    {
        return form->findChild<W*>(QLatin1String(name));
    }
    QLineEdit* Edit(const char* name) { return Get<QLineEdit>(name); }
    QComboBox* Codes() { return Get<QComboBox>("cmbMeetingCode"); }
    void Click(const char* name) { QTest::mouseClick(Get<QWidget>(name), Qt::LeftButton); }
    void Type(const QString& handle, const QString& password, const QString& code)
    {
        Edit("txtHandle")->setText(handle);
        Edit("txtPassword")->setText(password);
        Codes()->setEditText(code);
    }
};

struct OpenLogin : Login {
    explicit OpenLogin(bool more = false)
    {
        Open();
        if (more) Click("chkMore");
    }
};

}  // namespace

TEST(FrmLogin, RefusalsBeepFocusAndSaveNothing)
{
    OpenLogin f;
    const QString length = u"information|Quorvia|The Meeting Code must be between 6 and 20 characters."_s;
    const QString kinds = u"information|Quorvia|The Meeting Code must consist of letters and numbers only."_s;
    const struct {
        QString handle, password, code;
        const char* focus;
        QStringList boxes;
    } rows[] = {
        {u" "_s, u"p"_s, u"x"_s, "txtHandle", {}},
        {u"a"_s, u""_s, u"x"_s, "txtPassword", {}},
        {u"a"_s, u"p"_s, u"abcde"_s, "cmbMeetingCode", {length}},
        {u"a"_s, u"p"_s, u"abc-def"_s, "cmbMeetingCode", {kinds}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.code.toStdString());
        f.prompts.beeps = 0, f.prompts.boxes.clear();
        f.Type(row.handle, row.password, row.code);
        f.Codes()->setFocus();
        QTest::keyClick(f.Codes()->lineEdit(),
                        Qt::Key_Return);  // once, although OK is the default button too
        EXPECT_EQ(f.prompts.beeps, 1);
        EXPECT_EQ(f.form->focusWidget()->objectName(), QLatin1String(row.focus));
        EXPECT_EQ(f.prompts.boxes, row.boxes);
        EXPECT_TRUE(f.form->isVisible() && !f.state.gLoginDialogClosed);
        EXPECT_TRUE(f.Stored("Handle").isNull());
    }
}

TEST(FrmLogin, OkStoresWhatWasTyped)
{
    Login f;
    f.state.gMeetingCode = u"OLD123"_s;
    f.Open();
    EXPECT_EQ(f.form->focusWidget(), f.Edit("txtHandle"));
    EXPECT_EQ(f.Codes()->currentText(), QString());
    QTest::keyClicks(f.Edit("txtHandle"), u" Alice "_s);
    QTest::keyClicks(f.Edit("txtPassword"), u" se cret"_s);
    QTest::keyClicks(f.Codes()->lineEdit(), u"abc 123 "_s.remove(3, 1));
    f.Codes()->setFocus();
    QTest::keyClick(f.Codes()->lineEdit(), Qt::Key_Tab);
    EXPECT_EQ(f.form->focusWidget()->objectName(), u"optNewMeeting"_s);  // the one chosen
    f.Click("chkMore");
    f.Click("optHTTP");
    f.Get<QCheckBox>("chkDefaultConfig")->click();
    QTest::keyClicks(f.Edit("txtService"), u" relay.example:7000 "_s);
    f.Get<QRadioButton>("optJoinMeeting")->click();
    QTest::keyClick(f.Edit("txtHandle"), Qt::Key_Enter);  // the default button
    EXPECT_FALSE(f.form->isVisible());
    EXPECT_TRUE(f.state.gLoginDialogClosed);
    EXPECT_FALSE(f.state.gLoginCancelled);
    EXPECT_FALSE(f.state.gCreateMeeting);
    EXPECT_EQ(f.state.gMeetingCode, u"abc123 "_s);
    const QString password = EncipherPassword(u" se cret"_s);
    const std::pair<const char*, QString> stored[] = {{"Handle", u" Alice "_s},
                                                      {"Password", password},
                                                      {"Join Meeting Default", u"1"_s},
                                                      {"Hostname", u""_s},
                                                      {"Use HTTP", u"1"_s},
                                                      {"Use TCP Port", u"0"_s},
                                                      {"HTTP Polling Interval", u"1"_s},
                                                      {"Service Address", u"relay.example:7000"_s}};
    for (const auto& [name, value] : stored) EXPECT_EQ(f.Stored(name), value) << name;
    EXPECT_EQ(f.registry.Text(u"Zephyl\\Configs"_s, u"Default Config"_s), u"(System Default)"_s);
    EXPECT_FALSE(f.registry.Text(u"Quorvia\\Meeting Codes"_s, u"abc123 "_s).isEmpty());

    f.Open();  // the next showing has it all, the password without its blanks
    EXPECT_EQ(f.Edit("txtPassword")->text(), u"se cret"_s);
    EXPECT_EQ(f.Codes()->currentText(), u"abc123 "_s);
    EXPECT_TRUE(f.Get<QRadioButton>("optJoinMeeting")->isChecked());
    f.Set("HTTP Polling Interval", "2.5");
    f.Click("cmdOK");
    EXPECT_EQ(f.Stored("HTTP Polling Interval"), u"2.5"_s);
}

TEST(FrmLogin, PickingAConfigurationShowsIt)
{
    Login f;
    const QString work = u"Zephyl\\Configs\\Work\\Data"_s;
    f.Set("Join Meeting Default", "1");
    f.registry.Put(work, u"Handle"_s, u"worker"_s);
    f.registry.Put(work, u"Password"_s, EncipherPassword(u"hush"_s));
    f.registry.Put(work, u"Hostname"_s, u"desk"_s);
    f.registry.Put(work, u"Use TCP Port"_s, u"1"_s);
    f.Open();
    f.Click("chkMore");
    EXPECT_TRUE(f.journal.isEmpty());  // filling the lists picks nothing
    EXPECT_FALSE(f.Edit("txtHostname")->isEnabled());
    QTest::keyClick(f.Get<QComboBox>("cmbConfig"), Qt::Key_Down);
    EXPECT_EQ(f.journal, QStringList({u"SetConfig(Work)"_s, u"LoadConfig()"_s}));
    EXPECT_EQ(f.Edit("txtHandle")->text(), u"worker"_s);
    EXPECT_EQ(f.Edit("txtPassword")->text(), u"hush"_s);
    EXPECT_TRUE(f.Get<QCheckBox>("chkHostname")->isChecked());
    EXPECT_TRUE(f.Edit("txtHostname")->isEnabled());
    EXPECT_TRUE(f.Get<QRadioButton>("optTCP")->isChecked());
    EXPECT_TRUE(f.Get<QRadioButton>("optJoinMeeting")->isChecked());  // only "1" selects
    f.Get<QCheckBox>("chkHostname")->click();
    EXPECT_EQ(f.Edit("txtHostname")->text(), u"desk"_s);
    f.Type(u"a"_s, u"p"_s, u"abc123"_s);
    f.Click("cmdOK");
    EXPECT_EQ(f.registry.Text(work, u"Hostname"_s), u""_s);
}

TEST(FrmLogin, CancelKeepsAMeetingAndElseEndsTheProgram)
{
    Login f;
    f.InMeeting(u"alice"_s, {});
    f.pointer.shape = PointerShape::Busy;
    for (const bool closeBox : {false, true}) {
        f.Open();
        EXPECT_EQ(f.pointer.shape, PointerShape::Default);
        f.state.gLoginCancelled = f.state.gLoginDialogClosed = false;
        int finished = 0;
        QObject::connect(f.form.get(), &QDialog::finished, [&] { ++finished; });
        closeBox ? void(f.form->close()) : f.Click("cmdCancel");
        EXPECT_TRUE(f.state.gLoginCancelled);
        EXPECT_TRUE(f.state.gLoginDialogClosed);
        EXPECT_EQ(finished, 1);
        EXPECT_EQ(f.pointer.shape, PointerShape::Busy);  // as it was at load
    }
    f.service->Logout();
    f.Open();
    f.journal.clear();
    EXPECT_THROW(f.form->cmdCancel_Click(), ProcessEnded);
    EXPECT_FALSE(f.form->isVisible());
    EXPECT_EQ(f.journal, QStringList(u"end"_s));  // no service call, nothing saved
    EXPECT_TRUE(f.Stored("Handle").isNull());
}

TEST(FrmLogin, SendPasswordAsksTheTypedService)
{
    OpenLogin f;
    f.Click("lblPassword");
    EXPECT_EQ(f.prompts.boxes, QStringList(u"exclamation|Quorvia|Please enter your handle."_s));
    f.Edit("txtHandle")->setText(u" bob "_s);
    f.Edit("txtService")->setText(u"other.example"_s);
    f.Click("lblPassword");
    EXPECT_EQ(f.prompts.boxes.last(),
              u"information|Quorvia|The password for 'bob' has been sent to 'a***@e***.org'."_s);
    f.service->address.clear();
    f.Click("lblPassword");
    EXPECT_EQ(f.prompts.boxes.last(),
              u"exclamation|Quorvia|The user 'bob' could not be found. "
              "Please make sure you entered the handle correctly."_s);
    f.service->failures[u"SendPassword"_s] = u"no mail here"_s;
    f.journal.clear();
    f.Click("lblPassword");
    EXPECT_TRUE(f.prompts.boxes.last().endsWith(u"lblPassword_Click: no mail here"_s));
    EXPECT_EQ(f.journal.first(3), QStringList({u"UseServiceAddress(other.example)"_s, u"SendPassword(bob)"_s,
                                               u"UseServiceAddress(as stored)"_s}));
    EXPECT_TRUE(f.Stored("Service Address").isNull());
}

TEST(FrmLogin, KeysTypedRightBehindTheOneThatBroughtTheFocusStay)
{
    OpenLogin f;
    f.Edit("txtPassword")->setText(u"old"_s);
    for (const bool byTab : {true, false}) {
        f.Edit("txtHandle")->setFocus();
        byTab ? QTest::keyClick(f.Edit("txtHandle"), Qt::Key_Tab) : f.Click("txtPassword");
        EXPECT_EQ(f.Edit("txtPassword")->selectedText().size(), f.Edit("txtPassword")->text().size());
        QTest::keyClicks(f.Edit("txtPassword"), u"ab"_s);
        QCoreApplication::processEvents();
        QTest::keyClicks(f.Edit("txtPassword"), u"cd"_s);
        EXPECT_EQ(f.Edit("txtPassword")->text(), u"abcd"_s);
    }
}

TEST(FrmLogin, HostnameOffersTheAddressesInTurn)
{
    OpenLogin f(true);
    f.Get<QCheckBox>("chkHostname")->click();
    QLineEdit* box = f.Edit("txtHostname");
    QStringList shown(box->text());
    for (int i = 0; i < 3; ++i) {
        QTest::mouseDClick(box, Qt::LeftButton);
        shown += box->text();
    }
    EXPECT_EQ(shown, QStringList({u"192.0.2.1"_s, u"192.0.2.2"_s, u"192.0.2.1"_s, u"192.0.2.2"_s}));
    f.host.resolved = QStringList();
    QTest::mouseDClick(box, Qt::LeftButton);
    EXPECT_TRUE(f.prompts.boxes.last().contains(u"txtHostname_DblClick: "_s));
}

TEST(FrmLogin, SaysWhatEachControlIsAndDoesInTheOrderOfTab)
{
    OpenLogin f(true);
    f.Type(u"ann"_s, u"secret"_s, u"CODE99"_s);  // a name is no value
    f.Get<QCheckBox>("chkHostname")->click();
    const struct {
        const char* control;
        QAccessible::Role role;
        const char16_t* name;
    } rows[] = {
        {"txtHandle", QAccessible::EditableText, u"Handle:"},
        {"txtPassword", QAccessible::EditableText, u"Password:"},
        {"lblPassword", QAccessible::Link, u"Send Password!"},
        {"cmbMeetingCode", QAccessible::ComboBox, u"Meeting Code:"},
        {"optNewMeeting", QAccessible::RadioButton, u"Start New Meeting"},
        {"cmbConfig", QAccessible::ComboBox, u"Configuration:"},
        {"chkDefaultConfig", QAccessible::CheckBox, u"Default"},
        {"optUDP", QAccessible::RadioButton, u"UDP"},
        {"chkHostname", QAccessible::CheckBox, u"Hostname:"},
        {"txtHostname", QAccessible::EditableText, u"Host name or address"},
        {"txtService", QAccessible::EditableText, u"Service:"},
        {"chkMore", QAccessible::CheckBox, u"More <<"},
        {"cmdCancel", QAccessible::Button, u"Cancel"},
        {"cmdOK", QAccessible::Button, u"Enter"},
    };
    f.Edit("txtHandle")->setFocus();
    for (const auto& row : rows) {
        SCOPED_TRACE(row.control);
        QWidget* control = f.Get<QWidget>(row.control);
        QAccessibleInterface* seen = QAccessible::queryAccessibleInterface(control);
        EXPECT_EQ(seen->role(), row.role);
        EXPECT_EQ(seen->text(QAccessible::Name), QString::fromUtf16(row.name));
        EXPECT_TRUE(control->hasFocus());
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
    }
}

TEST(FrmLogin, CanBeReadOnEveryDesktop)
{
    OpenLogin f;
    for (const QColor& window : {QColor(239, 239, 239), QColor(42, 46, 50), QColor(118, 118, 118)}) {
        SCOPED_TRACE(window.name().toStdString());
        QPalette desktop(window);
        desktop.setColor(QPalette::PlaceholderText, QColor(0, 0, 0, 128));  // as desktops leave it
        desktop.setColor(QPalette::Link, QColor(0x2a, 0x7f, 0xd5));
        f.form->setPalette(desktop);
        const QPalette link = f.Get<QLabel>("lblPassword")->palette();
        EXPECT_GE(Contrast(link.color(QPalette::Link), window), kReadableContrast);
        const QPalette hint = f.Edit("txtService")->palette();
        EXPECT_GE(Contrast(hint.color(QPalette::PlaceholderText), hint.color(QPalette::Base)),
                  kReadableContrast);
    }
}

TEST(FrmLogin, EmptyBoxesAreSeenOnDarkDesktops)
{
    SeenFrames style;
    QStyleOptionButton box;
    box.rect = QRect(4, 4, 14, 14);
    for (const QColor& window : {QColor(239, 239, 239), QColor(42, 46, 50)})
        for (const auto element : {QStyle::PE_IndicatorCheckBox, QStyle::PE_IndicatorRadioButton}) {
            SCOPED_TRACE(testing::Message() << window.name().toStdString() << " " << element);
            box.palette = QPalette(window);
            QImage ours(22, 22, QImage::Format_RGB32), before(ours);
            for (QImage* picture : {&ours, &before}) {
                picture->fill(window);
                QPainter painter(picture);
                (picture == &ours ? static_cast<QStyle&>(style) : *style.baseStyle())
                    .drawPrimitive(element, &box, &painter, nullptr);
            }
            double best = 0;
            for (int x = 0; x < ours.width(); ++x)
                best = std::max(best, Contrast(ours.pixelColor(x, ours.height() / 2), window));
            if (window.lightness() < 128)
                EXPECT_GE(best, 3);
            else
                EXPECT_EQ(ours, before);
        }
}

TEST(FrmLogin, ColumnsOfItsListsStandBesideEachOtherInBothDirections)
{
    for (const Qt::LayoutDirection direction : {Qt::LeftToRight, Qt::RightToLeft}) {
        /// From where to where an entry of these two texts has ink.
        const auto inked = [&](const QString& first, const QString& second) {
            QComboBox box;
            AddSecondColumn(box);
            box.addItem(first);
            SetSecondColumn(box, 0, second);
            QImage picture(300, 24, QImage::Format_RGB32);
            picture.fill(Qt::white);
            QStyleOptionViewItem option;
            option.initFrom(box.view());
            option.rect = picture.rect();
            option.direction = direction;
            QPainter painter(&picture);
            painter.setLayoutDirection(direction);
            box.view()->itemDelegate()->paint(&painter, option, box.model()->index(0, 0));
            painter.end();
            std::pair<int, int> ink{picture.width(), -1};
            for (int i = 0; i < picture.width() * picture.height(); ++i) {
                const int x = i % picture.width();
                if (picture.pixel(x, i / picture.width()) != qRgb(255, 255, 255))
                    ink = {std::min(ink.first, x), std::max(ink.second, x)};
            }
            return ink;
        };
        const auto name = inked(u"Garden05"_s, u""_s), where = inked(u""_s, u"at meet.example.org"_s);
        EXPECT_GT(name.second - name.first, 20);
        EXPECT_GT(where.second - where.first, 20);
        EXPECT_TRUE(direction == Qt::LeftToRight ? name.second < where.first : where.second < name.first);
    }
}

TEST(FrmLogin, ShowsItsTextsWholeBesideTheirFieldsAtEveryFontAndInBothDirections)
{
    const QFont before = QApplication::font();
    const struct {
        int points;
        Qt::LayoutDirection direction;
    } looks[] = {{9, Qt::LeftToRight}, {15, Qt::LeftToRight}, {22, Qt::LeftToRight}, {9, Qt::RightToLeft}};
    for (const auto& [points, direction] : looks) {
        SCOPED_TRACE(testing::Message() << points << ' ' << direction);
        QFont larger = before;
        larger.setPointSize(points);
        QApplication::setFont(larger);
        QApplication::setLayoutDirection(direction);
        OpenLogin f(true);
        int fields = 0;
        for (QWidget* control : f.form->findChildren<QWidget*>()) {
            if (!control->isVisible()) continue;
            SCOPED_TRACE(control->objectName().toStdString());
            EXPECT_TRUE(control->parentWidget()->rect().contains(control->geometry()));
            const auto* label = qobject_cast<QLabel*>(control);
            if (!label && !qobject_cast<QAbstractButton*>(control)) continue;
            EXPECT_LE(control->sizeHint().width(), control->width());
            if (!label || !label->buddy()) continue;
            const QRect field = label->buddy()->geometry(), text = label->geometry();
            EXPECT_TRUE(direction == Qt::LeftToRight ? text.right() < field.left()
                                                     : field.right() < text.left());
            ++fields;
        }
        EXPECT_GE(fields, 5);
    }
    QApplication::setFont(before);
    QApplication::setLayoutDirection(Qt::LeftToRight);
}

TEST(FrmLogin, OpensItsOptionsOnTheScreenAndTakesTheirRoomBack)
{
    OpenLogin f;
    const QRect screen = f.form->screen()->availableGeometry();
    const int collapsed = f.form->height();
    f.form->move(screen.left() + 50, screen.bottom() - f.form->frameGeometry().height());
    f.Click("chkMore");
    EXPECT_TRUE(screen.contains(f.form->frameGeometry())) << f.form->frameGeometry().bottom();
    EXPECT_EQ(f.form->x(), screen.left() + 50);
    const QWidget &more = *f.Get<QWidget>("frameMore"), &buttons = *f.Get<QWidget>("frameButtons");
    EXPECT_GT(buttons.y(), more.geometry().bottom());
    EXPECT_EQ(f.form->height(), collapsed + more.height() + 5);
    f.Click("chkMore");
    EXPECT_EQ(f.form->height(), collapsed);
    EXPECT_LT(buttons.geometry().bottom(), collapsed);
}

TEST(FrmLogin, ShowsWhyTheLastLoginWasRefusedWhereNobodyHasToLook)
{
    OpenLogin f;
    EXPECT_FALSE(f.Get<QWidget>("frameMore")->isVisible());
    f.service->refusal = u"<b>wrong</b>\u202e "_s + u"and a long reason "_s.repeated(12);
    f.service->answers[u"Login"_s] = {false};
    f.service->Login({}, {}, {});
    f.Open();
    const auto* notice = f.Get<QLabel>("lblNotice");
    for (const char* seen : {"frameMore", "lblServiceMark", "lblNotice", "txtService"})
        EXPECT_TRUE(f.Get<QWidget>(seen)->isVisible()) << seen;
    EXPECT_TRUE(notice->text().startsWith(u"<b>wrong</b>\\u202e "_s)) << notice->text().toStdString();
    EXPECT_EQ(notice->textFormat(), Qt::PlainText);
    EXPECT_TRUE(f.Edit("txtService")->toolTip().contains(u"&lt;b&gt;wrong"_s));
    EXPECT_GE(notice->height(), notice->heightForWidth(notice->width()));
    EXPECT_TRUE(notice->parentWidget()->rect().contains(notice->geometry()));
    EXPECT_EQ(f.Get<QWidget>("frameButtons")->y() - f.Get<QWidget>("frameMore")->geometry().bottom() - 1, 3);
    EXPECT_TRUE(f.prompts.boxes.isEmpty());
}

TEST(FrmLogin, AnInvitationFillsItInAndSendsNothing)
{
    const QString key = u"sha256:"_s + u"ab"_s.repeated(32),
                  link = u"zephyl://Meet.Example:7000/Abc123#"_s + key;
    enum Way { AtStart, InTheCode, InTheService, TypedAsCode };
    for (const Way way : {AtStart, InTheCode, InTheService, TypedAsCode}) {
        SCOPED_TRACE(way);
        Login f;
        f.Set("Handle", "ann");
        f.registry.Put(Fixture::kData, u"Password"_s, EncipherPassword(u"of another service"_s));
        if (way == AtStart) f.state.gInvitation = link;
        f.Open();
        if (way == InTheCode) f.Codes()->lineEdit()->insert(u"Come!\n<"_s + link + u">."_s);
        if (way == InTheService) f.Edit("txtService")->insert(link);
        if (way == TypedAsCode) QTest::keyClicks(f.Codes()->lineEdit(), link);
        if (way == TypedAsCode)
            QTest::keyClick(f.Codes()->lineEdit(), Qt::Key_Return);  // not at its end before
        EXPECT_EQ(f.Codes()->currentText(), u"Abc123"_s);
        EXPECT_EQ(f.Edit("txtService")->text(), u"meet.example:7000"_s);
        EXPECT_TRUE(f.Get<QRadioButton>("optJoinMeeting")->isChecked());
        EXPECT_EQ(f.Edit("txtPassword")->text(), u""_s) << "it belongs to another service";
        EXPECT_TRUE(f.Get<QLabel>("lblNotice")->isVisible());
        EXPECT_EQ(f.journal, QStringList(u"NameKey(meet.example:7000,"_s + key + u')'));
        EXPECT_TRUE(f.form->isVisible() && f.Stored("Service Address").isNull());
        EXPECT_TRUE(f.state.gInvitation.isEmpty());
    }
}

TEST(FrmLogin, AnInvitationIsNotBelievedBeyondWhatItSays)
{
    const QString key = u"sha256:"_s + u"ab"_s.repeated(32);
    const struct {
        QString link, accepted;
        const char* said;
    } rows[] = {
        {u"zephyl://meet.example/abc123#"_s + key.chopped(3), {}, "not whole"},
        {u"zephyl://meet.example/abc"_s, {}, "6 to 20"},
        {u"zephyl://meet.example/abc123#"_s + key, u"sha256:"_s + u"cd"_s.repeated(32), "another key"},
    };
    for (const auto& row : rows) {
        Login f;
        f.service->acceptedKey = row.accepted;
        f.state.gInvitation = row.link;
        f.Open();
        EXPECT_TRUE(f.Get<QLabel>("lblNotice")->text().contains(QLatin1String(row.said))) << row.said;
        EXPECT_EQ(f.Codes()->currentText().isEmpty(), row.accepted.isEmpty());
        EXPECT_TRUE(f.trace.Last("notice")[u"warns"_s].toBool());
    }
    Login f;  // typed, and never one: "Enter" sends nothing
    f.Open();
    f.Type(u"a"_s, u"p"_s, u"zephyl://x"_s);
    f.Click("cmdOK");
    EXPECT_TRUE(f.form->isVisible());
    EXPECT_EQ(f.prompts.beeps, 1);
}

TEST(FrmLogin, ACodeBringsTheServiceWhereItWasLast)
{
    Login f;
    f.Set("Service Address", "home.example");
    f.registry.Put(Fixture::kData, u"Password"_s, EncipherPassword(u"home's"_s));
    for (const auto& [code, service] :
         {std::pair(u"AWAY01"_s, u"away.example"_s), std::pair(u"HERE01"_s, u""_s)}) {
        f.Open();
        f.Type(u"a"_s, u"p"_s, code);
        f.Edit("txtService")->setText(service);
        QTest::keyClick(f.Edit("txtService"), Qt::Key_Return);
        EXPECT_EQ(f.registry.Text(u"Quorvia\\Meeting Services"_s, code), service);
    }
    f.registry.Put(u"Quorvia\\Meeting Codes"_s, u"OLD001"_s, u"1/1/2020"_s);  // of before they were kept
    f.Set("Service Address", "home.example");
    f.registry.Put(Fixture::kData, u"Password"_s, EncipherPassword(u"home's"_s));
    f.state.gMeetingCode.clear();
    f.Open();
    EXPECT_EQ(f.Codes()->count(), 3);
    const auto pick = [&](const QString& code) {
        f.Codes()->setCurrentIndex(f.Codes()->findText(code) - 1);
        QTest::keyClick(f.Codes(), Qt::Key_Down);
        return f.Edit("txtService")->text() + u'|' + f.Edit("txtPassword")->text();
    };
    EXPECT_EQ(pick(u"OLD001"_s), u"home.example|home's"_s);
    EXPECT_FALSE(f.Get<QWidget>("frameMore")->isVisible());
    EXPECT_EQ(pick(u"AWAY01"_s), u"away.example|"_s) << "its password is not the stored one";
    EXPECT_TRUE(f.Get<QWidget>("frameMore")->isVisible());
    EXPECT_EQ(pick(u"HERE01"_s), u"|"_s);
    EXPECT_TRUE(f.Codes()->itemData(0, Qt::AccessibleDescriptionRole).toString().contains(u"away.example"_s));
}

TEST(FrmLogin, OffersWhatTheNetworkAnnouncesOnceThePanelIsOpen)
{
    struct : NeighboursPort {
        std::function<void()> changed;
        std::vector<NeighbourService> services;
        void Look(std::function<void()> listener) override { changed = std::move(listener); }
        std::vector<NeighbourService> Found() const override { return services; }
    } network;
    Login f;
    f.state.ports.neighbours = &network;
    f.Open();
    EXPECT_FALSE(network.changed) << "nobody is asked before";
    f.Click("chkMore");
    auto* services = f.Get<QComboBox>("cmbService");
    f.Edit("txtService")->setText(u"typed.example"_s);
    network.services = {{u"Ann\u202e's\nservice"_s, u"192.0.2.7:7420"_s, {}},
                        {u"B"_s, u"[fe80::1%eth0]:1"_s, {}}};
    network.changed();
    EXPECT_EQ(services->count(), 2);
    EXPECT_EQ(f.Edit("txtService")->text(), u"typed.example"_s);
    EXPECT_EQ(services->itemData(0, Qt::AccessibleDescriptionRole).toString(), u"Ann\\u202e's\\nservice"_s);
    QTest::keyClick(services, Qt::Key_Down);
    EXPECT_EQ(f.Edit("txtService")->text(), u"192.0.2.7:7420"_s);
    f.form.reset();
    EXPECT_FALSE(network.changed);
}
