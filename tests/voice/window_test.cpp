#include <gtest/gtest.h>

#include <QPushButton>
#include <QTest>

#include "settings/settings.h"
#include "support/fixture.h"
#include "voice/window.h"

using namespace Qt::StringLiterals;

namespace {

/// The microphone is open while the key is held, and not when it is let go where this window does not hear
/// it.
TEST(VoiceWindow, AHeldKeyIsLetGoWithTheWindow)
{
    Fixture fixture;
    SaveSetting(fixture.state, keys::kVoktalSpeaks, u"1"_s);
    voice::Worker worker;
    voice::Window window(fixture.state, worker);
    QWidget another;
    auto* hold = window.findChild<QPushButton*>(u"cmdHold"_s);
    const auto showAndHold = [&] {
        window.show();
        window.activateWindow();
        ASSERT_TRUE(QTest::qWaitForWindowActive(&window));
        window.setFocus();
        QTest::keyPress(&window, Qt::Key_Space);
        EXPECT_TRUE(hold->isDown());
    };
    showAndHold();
    QTest::keyRelease(&window, Qt::Key_Space);
    EXPECT_FALSE(hold->isDown());
    showAndHold();
    another.show();
    another.activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(&another));
    EXPECT_FALSE(hold->isDown());
    showAndHold();
    window.hide();
    EXPECT_FALSE(hold->isDown());
}

}  // namespace
