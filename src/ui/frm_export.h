#pragma once
// frmExport: what of the meeting leaves it, and in which format. It writes the files itself.

#include <QDialog>

#include "base/process_state.h"
#include "export/exporting.h"

class MeetingRecording;
class QComboBox;
class QLabel;
class QPushButton;
class QRadioButton;

class frmExport final : public QDialog {
public:
    frmExport(ProcessState& state, const MeetingRecording& recording, QWidget* parent);

    /// Asks for a name and writes; closes when that worked.
    void cmdExport_Click();

private:
    void ShowChoice();
    QStringList Write(const QString& name) const;
    QString Ending() const;

    ProcessState& mState;
    const MeetingRecording& mRecording;
    QRadioButton *optBoard, *optHistory, *optMeeting;
    QComboBox* cboFormat;
    QLabel* lblWhat;
    QPushButton *cmdExport, *cmdCancel;
};

/// The menu entry. Trapped: "mnuExport_Click: ".
void mnuExport_Click(ProcessState& state, const MeetingRecording& recording, QWidget* window);
