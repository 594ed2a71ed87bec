#pragma once
// The dialog that asks for the camera's picture size. User-interface thread only.

#include <QDialog>
#include <vector>

#include "platform/camera.h"

class QListWidget;
class QPushButton;

/// Lists what the driver offers, the format in use selected. A row that is double clicked is OK.
class frmFormat : public QDialog {
public:
    frmFormat(const CameraFormat& current, std::vector<CameraFormat> offered, QWidget* parent);

    /// After it was accepted: the format of the selected row.
    CameraFormat Chosen() const;

private:
    std::vector<CameraFormat> mOffered;
    CameraFormat mCurrent;
    QListWidget* lstFormats;
};
