#include "ui/prompts.h"

#include <QApplication>
#include <QCoreApplication>
#include <QEventLoop>
#include <QFileDialog>
#include <QFontDialog>
#include <QHeaderView>
#include <QMessageBox>
#include <QPushButton>
#include <QScreen>
#include <QTreeView>

#include "base/report.h"
#include "text/qt_line.h"
#include "text/words.h"
#include "ui/control_map.h"

using namespace Qt::StringLiterals;

namespace {

constexpr int kTellMoreMilliseconds = 200;
constexpr int kMarkMilliseconds = 1000;  // an activation later than this is the user's own

/// What a new dialog stands in front of.
QWidget* DialogParent()
{
    if (QWidget* modal = QApplication::activeModalWidget()) return modal;
    if (QWidget* active = QApplication::activeWindow(); active && active->objectName() != u"frmSplash"_s)
        return active->window();
    // None is active while the window manager goes from one to the next. The splash never: it would be
    // raised.
    for (const QString& name : {u"frmLogin"_s, u"frmMeeting"_s})
        for (QWidget* window : QApplication::topLevelWidgets())
            if (window->isVisible() && window->objectName() == name) return window;
    return nullptr;
}

QMessageBox::Icon ToolkitIcon(BoxIcon icon)
{
    switch (icon) {
        case BoxIcon::Information: return QMessageBox::Information;
        case BoxIcon::Exclamation: return QMessageBox::Warning;
        case BoxIcon::Critical: return QMessageBox::Critical;
        case BoxIcon::None: break;
    }
    return QMessageBox::NoIcon;
}

const char* IconName(BoxIcon icon)
{
    switch (icon) {
        case BoxIcon::Information: return "information";
        case BoxIcon::Exclamation: return "exclamation";
        case BoxIcon::Critical: return "critical";
        case BoxIcon::None: break;
    }
    return "none";
}

void Prepare(QMessageBox& box, BoxIcon icon, const QString& title, const QString& text)
{
    box.setObjectName(u"box"_s);
    box.setTextFormat(Qt::PlainText);
    box.setIcon(ToolkitIcon(icon));
    box.setWindowTitle(title);
    box.setText(text);
    box.addButton(QMessageBox::Ok)->setObjectName(u"boxOK"_s);
}

void TraceBox(ProcessState& state, BoxIcon icon, const QString& title, const QString& text)
{
    TraceEvent(state, "box",
               {{u"title"_s, title}, {u"text"_s, text}, {u"icon"_s, QLatin1String(IconName(icon))}});
}

/// Keeps the stock icons off the buttons of a box or dialog, and of what it asks inside: ours elsewhere have
/// none. Belongs to the dialog.
class PlainButtons final : public QObject {
public:
    explicit PlainButtons(QDialog& dialog) : QObject(&dialog) { dialog.installEventFilter(this); }
    bool eventFilter(QObject* watched, QEvent* event) override
    {
        if (event->type() == QEvent::Show) Strip(watched);
        if (event->type() == QEvent::ChildPolished) {
            QObject* child = static_cast<QChildEvent*>(event)->child();
            if (qobject_cast<QMessageBox*>(child)) Strip(child);
        }
        return false;
    }

private:
    static void Strip(QObject* window)
    {
        for (QPushButton* button : window->findChildren<QPushButton*>()) button->setIcon(QIcon());
    }
};

/// Columns as wide as what stands in them, the name's with what is left; by itself the dialog cuts dates off.
/// Does nothing where the desktop brings a dialog of its own.
void ShowColumnsWhole(QFileDialog& dialog)
{
    constexpr QSize kRoomy(720, 440);
    auto* list = dialog.findChild<QTreeView*>(u"treeView"_s);
    if (!list) return;
    list->header()->setSectionResizeMode(QHeaderView::ResizeToContents);
    list->header()->setSectionResizeMode(0, QHeaderView::Stretch);
    dialog.resize(dialog.size().expandedTo(kRoomy).boundedTo(dialog.screen()->availableSize() * 9 / 10));
}

/// "Pictures (*.jpg;*.bmp)" is what the dialog shows. Some desktops' own dialogs compare names exactly, so
/// upper-case endings are named as well, in the part that the dialog hides.
void SetFilter(QFileDialog& dialog, const QString& name, const QStringList& patterns)
{
    QStringList all = patterns;
    for (const QString& pattern : patterns) all << pattern.toUpper();
    dialog.setOption(QFileDialog::HideNameFilterDetails);
    dialog.setNameFilter(u"%1 (%2) (%3)"_s.arg(name, patterns.join(u';'), all.join(u' ')));
}

}  // namespace

QtPrompts::QtPrompts(ProcessState& state, QtWaits& waits) : mState(state), mWaits(waits)
{
    mTellMore.setSingleShot(true);
    QObject::connect(&mTellMore, &QTimer::timeout, &mTellMore, [this] { TellMore(); });
}

void QtPrompts::Beep()
{
    TraceEvent(mState, "beep");
    QApplication::beep();
}

void QtPrompts::Box(BoxIcon icon, const QString& title, const QString& text)
{
    QMessageBox box(DialogParent());
    Prepare(box, icon, title, text);
    TraceBox(mState, icon, title, text);
    RunDialog(box);
}

void QtPrompts::CriticalBox(const QString& title, const QString& text, Cause cause)
{
    if (mCritical) {
        ++mMoreErrors;
        // A box lays itself out anew for each text, and hundreds may come in a second.
        if (!mTellMore.isActive()) mTellMore.start(kTellMoreMilliseconds);
        return;
    }
    mMoreErrors = 0;
    auto* box = new QMessageBox(DialogParent());
    mCritical = box;
    Prepare(*box, BoxIcon::Critical, title, text);
    TraceBox(mState, BoxIcon::Critical, title, text);
    if (cause == Cause::Local) {
        RunDialog(*box);
        delete box;
        return;
    }
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->setAttribute(Qt::WA_ShowWithoutActivating);
    box->setModal(false);
    new PlainButtons(*box);
    QObject::connect(box, &QDialog::finished, box, [this] {
        mCritical = nullptr;  // it is deleted later; an error until then needs a box of its own
        mSinceClosed.start();
    });
    TraceWindow(mState, box);
    box->show();
}

void QtPrompts::TellMore()
{
    if (mCritical)
        mCritical->setInformativeText(
            Ours::tr("%n more since then; all of them stand in the event log.", "errors", mMoreErrors));
}

bool QtPrompts::AskTrust(const QString& service, const QString& fingerprint, const QString& announced)
{
    QMessageBox box(DialogParent());
    box.setObjectName(u"trust"_s);
    box.setTextFormat(Qt::PlainText);
    box.setIcon(QMessageBox::Warning);
    box.setWindowTitle(QLatin1String(kAppTitle));
    box.setText(Ours::tr("Nobody vouches for the service at %1.").arg(InSentence(service)));
    QString more =
        Ours::tr(
            "Its key has this fingerprint:\n\n%1\n\nTrust it only if the service's operator, or an "
            "invitation that you believe, gave you the same one. It is then remembered. Nothing has "
            "been sent so far.")
            .arg(fingerprint);
    if (!announced.isEmpty())
        more +=
            u"\n\n"_s +
            (announced == fingerprint
                 ? Ours::tr(
                       "The same one is announced on your local network. That alone proves nothing: anybody "
                       "there can announce it.")
                 : Ours::tr(
                       "On your local network another one is announced for it: %1. Do not trust it before "
                       "its operator has told you why.")
                       .arg(OneLine(announced)));
    box.setInformativeText(more);
    QPushButton* trust = box.addButton(Ours::tr("&Trust this key"), QMessageBox::AcceptRole);
    trust->setObjectName(u"cmdTrust"_s);
    QPushButton* refuse = box.addButton(Ours::tr("&Do not connect"), QMessageBox::RejectRole);
    refuse->setObjectName(u"cmdRefuse"_s);
    TraceEvent(mState, "trust",
               {{u"service"_s, service}, {u"fingerprint"_s, fingerprint}, {u"announced"_s, announced}});
    return Agreed(box, trust, refuse);
}

bool QtPrompts::AskLink(const QString& address, const QString& host)
{
    constexpr int kRow = 72;  // an address has no blanks to break it at
    QString rows = address;
    for (qsizetype at = kRow; at < rows.size(); at += kRow + 1) rows.insert(at, u'\n');
    QMessageBox box(DialogParent());
    box.setObjectName(u"link"_s);
    box.setTextFormat(Qt::PlainText);
    box.setIcon(QMessageBox::Question);
    box.setWindowTitle(QLatin1String(kAppTitle));
    const bool invitation = address.startsWith(u"zephyl:"_s);
    box.setText((invitation
                     ? QCoreApplication::translate("Prompts", "Open this invitation to a meeting at %1?")
                     : QCoreApplication::translate("Prompts", "Open this address of %1 in your web browser?"))
                    .arg(host));
    box.setInformativeText(rows);
    QPushButton* open =
        box.addButton(QCoreApplication::translate("Prompts", "&Open"), QMessageBox::AcceptRole);
    open->setObjectName(u"cmdOpen"_s);
    QPushButton* leave =
        box.addButton(QCoreApplication::translate("Prompts", "&Do Not Open"), QMessageBox::RejectRole);
    leave->setObjectName(u"cmdLeave"_s);
    TraceEvent(mState, "link", {{u"address"_s, address}, {u"host"_s, host}});
    return Agreed(box, open, leave);
}

QString QtPrompts::OpenFile(const QString& title, const QString& filterName, const QStringList& patterns)
{
    QFileDialog dialog(DialogParent(), title);
    SetFilter(dialog, filterName, patterns);
    dialog.setObjectName(u"openFile"_s);
    dialog.setFileMode(QFileDialog::ExistingFile);
    ShowColumnsWhole(dialog);
    return RunDialog(dialog) == QDialog::Accepted ? dialog.selectedFiles().value(0) : QString();
}

QString QtPrompts::SaveFile(const QString& title, const QString& filterName, const QStringList& patterns,
                            const QString& defaultExtension)
{
    QFileDialog dialog(DialogParent(), title);
    SetFilter(dialog, filterName, patterns);
    dialog.setObjectName(u"saveFile"_s);
    dialog.setAcceptMode(QFileDialog::AcceptSave);  // asks before it overwrites
    dialog.setLabelText(QFileDialog::LookIn, Ours::tr("Save in:"));
    ShowColumnsWhole(dialog);
    dialog.setDefaultSuffix(defaultExtension);
    return RunDialog(dialog) == QDialog::Accepted ? dialog.selectedFiles().value(0) : QString();
}

QString QtPrompts::ChooseFolder(const QString& title, const QString& now)
{
    QFileDialog dialog(DialogParent(), title, now);
    dialog.setObjectName(u"chooseFolder"_s);
    dialog.setFileMode(QFileDialog::Directory);
    dialog.setOption(QFileDialog::ShowDirsOnly);
    ShowColumnsWhole(dialog);
    return RunDialog(dialog) == QDialog::Accepted ? dialog.selectedFiles().value(0) : QString();
}

FontChoice QtPrompts::SelectFont(const QString& title, const FontChoice& current)
{
    QFont font(current.name);
    font.setPointSizeF(current.size);
    font.setBold(current.bold);
    font.setItalic(current.italic);
    font.setStrikeOut(current.strikethrough);
    font.setUnderline(current.underline);
    QFontDialog dialog(font, DialogParent());
    dialog.setObjectName(u"selectFont"_s);
    dialog.setWindowTitle(title);
    if (RunDialog(dialog) != QDialog::Accepted) return current;
    const QFont chosen = dialog.selectedFont();
    return {chosen.family(), chosen.pointSizeF(), chosen.bold(),
            chosen.italic(), chosen.strikeOut(),  chosen.underline()};
}

void QtPrompts::RunForm(QDialog& form, Modality modality)
{
    if (modality == Modality::Modal) {
        RunDialog(form);
        return;
    }
    TraceWindow(mState, &form);
    QEventLoop untilFinished;
    QObject::connect(&form, &QDialog::finished, &untilFinished, &QEventLoop::quit);
    ++mOpen;
    form.show();
    form.raise();
    form.activateWindow();
    untilFinished.exec();
    --mOpen;
    mSinceClosed.start();
}

bool QtPrompts::Agreed(QMessageBox& box, QPushButton* yes, QPushButton* no)
{
    box.setDefaultButton(no);
    box.setEscapeButton(no);
    RunDialog(box);
    return box.clickedButton() == yes;
}

int QtPrompts::RunDialog(QDialog& dialog)
{
    const QtWaits::Lift lifted(mWaits);  // a wait must not keep the user from answering
    TraceWindow(mState, &dialog);
    const PlainButtons plain(dialog);
    ++mOpen;
    const int result = dialog.exec();
    --mOpen;
    mSinceClosed.start();
    return result;
}

bool QtPrompts::ActivationIsOurs()
{
    if (mOpen > 0) return true;
    const bool ours = mSinceClosed.isValid() && mSinceClosed.elapsed() < kMarkMilliseconds;
    mSinceClosed.invalidate();
    return ours;
}
