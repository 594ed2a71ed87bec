#include "media/frm_format.h"

#include <QDialogButtonBox>
#include <QLabel>
#include <QListWidget>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

frmFormat::frmFormat(const CameraFormat& current, std::vector<CameraFormat> offered, QWidget* parent)
    : QDialog(parent), mOffered(std::move(offered)), mCurrent(current), lstFormats(new QListWidget(this))
{
    setObjectName(u"frmFormat"_s);
    setWindowTitle(u"Video Format"_s);
    lstFormats->setObjectName(u"lstFormats"_s);
    lstFormats->setAccessibleName(u"Picture sizes of the camera"_s);
    for (const CameraFormat& format : mOffered) {
        lstFormats->addItem(u"%1 \u00D7 %2"_s.arg(format.width).arg(format.height));
        if (format.width == current.width && format.height == current.height)
            lstFormats->setCurrentRow(lstFormats->count() - 1);
    }

    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
    connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    connect(lstFormats, &QListWidget::itemDoubleClicked, this, &QDialog::accept);

    auto* label = new QLabel(u"Size of your video in pixels:"_s, this);
    label->setBuddy(lstFormats);
    auto* column = new QVBoxLayout(this);
    column->addWidget(label);
    column->addWidget(lstFormats, 1);
    column->addWidget(buttons);
    resize(260, 280);
}

CameraFormat frmFormat::Chosen() const
{
    const int row = lstFormats->currentRow();
    return row < 0 ? mCurrent : mOffered[size_t(row)];
}
