#pragma once
// The about box. User-interface thread only.

#include <QDialog>
#include <functional>

#include "ui/system_info.h"

class QLabel;
class QPushButton;

class frmAbout final : public QDialog {
public:
    /// How programs are found and started; the desktop's way unless a test brings its own.
    struct Launcher {
        std::function<QString(const QString& name)> onPath;
        std::function<bool(const ProgramStart&)> start;
    };

    frmAbout(ProcessState& state, QWidget* parent, Launcher launcher = DesktopLauncher());
    static Launcher DesktopLauncher();

private:
    void StartSysInfo();
    void Arrange();

    ProcessState& mState;
    Launcher mLauncher;
    QLabel* picIcon;
    QLabel* lblTitle;
    QLabel* lblVersion;
    QLabel* lblDescription;
    QLabel* lblDisclaimer;
    QPushButton* cmdOK;
    QPushButton* cmdSysInfo;
};
