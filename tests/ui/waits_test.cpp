// What the one wait helper lets through, and in which order the rest comes afterwards.
#include "ui/waits.h"

#include <gtest/gtest.h>

#include <QCloseEvent>
#include <QCoreApplication>
#include <QDropEvent>
#include <QLineEdit>
#include <QMimeData>
#include <QTest>
#include <QTimer>
#include <mutex>
#include <thread>

#include "ui/gate.h"

using namespace std::chrono_literals;

namespace {

struct Window : QWidget {
    QLineEdit* edit = new QLineEdit(this);
    int closeRequests = 0;
    void closeEvent(QCloseEvent* event) override
    {
        ++closeRequests;
        event->ignore();
    }
};

class Answer final : public PendingAnswer {
public:
    bool Done() const override
    {
        const std::lock_guard lock(mMutex);
        return mDone;
    }
    void WhenDone(std::function<void()> wake) override
    {
        const std::lock_guard lock(mMutex);
        mDone ? wake() : void(mWake = std::move(wake));
    }
    void Finish()
    {
        const std::lock_guard lock(mMutex);
        mDone = true;
        if (mWake) mWake();
    }

private:
    mutable std::mutex mMutex;
    bool mDone = false;
    std::function<void()> mWake;
};

class WaitsTest : public testing::Test {
protected:
    void SetUp() override
    {
        window.show();
        window.edit->setFocus();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(&window));
    }
    /// What happens while the next wait runs.
    template <class Act>
    void Meanwhile(Act act)
    {
        QTimer::singleShot(0, &window, act);
    }
    HoldableGate gate;
    QtWaits waits{gate};
    Window window;
};

}  // namespace

TEST_F(WaitsTest, InputComesAfterwardsInOrderAndCloseRequestsAtOnce)
{
    QStringList seen;
    Meanwhile([&] {
        QTest::keyClick(window.windowHandle(), Qt::Key_A);
        QTest::keyClick(window.windowHandle(), Qt::Key_B);
        seen << window.edit->text();
        window.close();
        EXPECT_FALSE(gate.IsOpen());
        QMimeData data;
        data.setText(QStringLiteral("dropped"));
        QDropEvent drop(QPointF(5, 5), Qt::CopyAction, &data, Qt::LeftButton, {});
        QCoreApplication::sendEvent(window.windowHandle(), &drop);
        EXPECT_FALSE(drop.isAccepted());  // what it brings does not live until afterwards
    });
    waits.Pause(20ms);
    EXPECT_EQ(seen.value(0), QString());
    EXPECT_EQ(window.closeRequests, 1);
    EXPECT_EQ(window.edit->text(), QString());  // the procedure that waited goes on first
    QCoreApplication::processEvents();
    EXPECT_EQ(window.edit->text(), QStringLiteral("ab"));
    EXPECT_TRUE(gate.IsOpen());
}

TEST_F(WaitsTest, AnAnswerOfAnotherThreadEndsTheWait)
{
    Answer answer;
    std::thread other;
    Meanwhile([&] { other = std::thread([&] { answer.Finish(); }); });
    EXPECT_TRUE(waits.Wait(answer, 30s));
    other.join();

    Answer never;
    EXPECT_FALSE(waits.Wait(never, 10ms));
    never.Finish();  // too late: nobody waits any more
}

TEST_F(WaitsTest, AQuestionInsideAWaitGetsInputAndStopsTheClock)
{
    Answer answer;
    bool open = false;
    Meanwhile([&] {
        {
            const QtWaits::Lift lifted(waits);
            open = gate.IsOpen();
            QTest::keyClick(window.windowHandle(), Qt::Key_C);
            QTest::qWait(60);  // longer than the limit: the user reads
        }
        answer.Finish();
    });
    EXPECT_TRUE(waits.Wait(answer, 50ms));
    EXPECT_TRUE(open);
    EXPECT_EQ(window.edit->text(), QStringLiteral("c"));
}

TEST_F(WaitsTest, TheGateDrainsOnceTheLastHoldHasGone)
{
    int drained = 0;
    gate.WhenOpen([&] { ++drained; });
    {
        const GateHold outer(&gate);
        waits.Pause(1ms);
        QCoreApplication::processEvents();
        EXPECT_EQ(drained, 0);
    }
    EXPECT_EQ(drained, 0);  // never from inside Open
    QCoreApplication::processEvents();
    EXPECT_EQ(drained, 1);
}
