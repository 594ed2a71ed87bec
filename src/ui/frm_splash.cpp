#include "ui/frm_splash.h"

#include <QApplication>
#include <QDeadlineTimer>
#include <QDialog>
#include <QEvent>
#include <QFrame>
#include <QGuiApplication>
#include <QIcon>
#include <QLabel>
#include <QScreen>
#include <QTimer>
#include <QVBoxLayout>
#include <algorithm>

#include "base/process_state.h"
#include "base/version.h"
#include "text/words.h"
#include "widgets/named.h"
#include "widgets/spoken.h"

using namespace Qt::StringLiterals;

namespace {

constexpr QSize kSize(360, 240);
constexpr int kLogo = 96;
constexpr int kPaintMilliseconds = 500;

}  // namespace

frmSplash::frmSplash() : QWidget(nullptr, Qt::FramelessWindowHint)
{
    setObjectName(u"frmSplash"_s);
    setWindowTitle(QLatin1String(kAppTitle));
    setFixedSize(kSize);
    setFocusPolicy(Qt::StrongFocus);
    Speak(*this, {QAccessible::Window});

    Frame1 = Named<QFrame>(this, "Frame1");
    Frame1->setFrameStyle(QFrame::Box | QFrame::Plain);
    Speak(*Frame1, {QAccessible::Grouping});
    Frame1->installEventFilter(this);
    qApp->installEventFilter(this);

    imgLogo = Named<QLabel>(Frame1, "imgLogo");
    imgLogo->setPixmap(QIcon(u":/logo.svg"_s).pixmap(QSize(kLogo, kLogo), devicePixelRatioF()));
    lblProductName = Named<QLabel>(Frame1, "lblProductName");
    lblProductName->setText(QLatin1String(kAppTitle));
    QFont large = font();
    large.setPixelSize(34);
    large.setBold(true);
    lblProductName->setFont(large);
    lblVersion = Named<QLabel>(Frame1, "lblVersion");
    lblVersion->setText(Defined::tr("Version %1").arg(VersionText()));

    auto* rows = new QVBoxLayout(Frame1);
    rows->addStretch();
    for (QLabel* label : {imgLogo, lblProductName, lblVersion}) {
        label->setAttribute(Qt::WA_TransparentForMouseEvents);
        rows->addWidget(label, 0, Qt::AlignHCenter);
    }
    rows->addStretch();
    auto* whole = new QVBoxLayout(this);
    whole->setContentsMargins(0, 0, 0, 0);
    whole->addWidget(Frame1);
    if (const QScreen* screen = QGuiApplication::primaryScreen())
        move(screen->availableGeometry().center() - rect().center());
}

void frmSplash::ShowPainted()
{
    show();
    const QDeadlineTimer until(kPaintMilliseconds);
    while (!mPainted && isVisible() && !until.hasExpired())
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents | QEventLoop::AllEvents,
                                        int(until.remainingTime()));
}

void frmSplash::Unload()
{
    mUnloaded = true;
    qApp->removeEventFilter(this);
    hide();
}

void frmSplash::GiveWay()
{
    const QWidgetList windows = QApplication::topLevelWidgets();
    const bool dialog = std::ranges::any_of(
        windows, [](QWidget* window) { return window->isVisible() && qobject_cast<QDialog*>(window); });
    if (!mUnloaded) setVisible(!dialog);
}

void frmSplash::keyPressEvent(QKeyEvent*)
{
    Unload();
}

void frmSplash::paintEvent(QPaintEvent* event)
{
    mPainted = true;
    QWidget::paintEvent(event);
}

bool frmSplash::eventFilter(QObject* watched, QEvent* event)
{
    if (event->type() == QEvent::Show && qobject_cast<QDialog*>(watched)) GiveWay();
    if (event->type() == QEvent::Hide && qobject_cast<QDialog*>(watched)) {
        setAttribute(Qt::WA_ShowWithoutActivating);
        QTimer::singleShot(0, this, &frmSplash::GiveWay);  // the program may end here, or another dialog come
    }
    if (watched == Frame1 && event->type() == QEvent::MouseButtonPress) {
        Unload();
        return true;
    }
    return QWidget::eventFilter(watched, event);
}
