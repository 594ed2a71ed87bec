#pragma once
// frmSplash: what shows while the program starts. Any key, or a click on the panel, unloads it early. It is
// hidden while a dialog is open, which it would stand half behind.

#include <QWidget>

class QFrame;
class QLabel;

class frmSplash final : public QWidget {
public:
    frmSplash();

    /// Shows the splash and returns when it has been painted, or after half a second where it cannot be.
    void ShowPainted();
    /// Harmless when it is unloaded already.
    void Unload();

protected:
    void keyPressEvent(QKeyEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void GiveWay();

    QFrame* Frame1;
    QLabel* imgLogo;
    QLabel* lblProductName;
    QLabel* lblVersion;
    bool mPainted = false;
    bool mUnloaded = false;
};
