#include "media/frm_format.h"

#include <QLabel>
#include <QListWidget>
#include <QPushButton>
#include <QVBoxLayout>

#include "text/words.h"
#include "widgets/named.h"
#include "widgets/spoken.h"

using namespace Qt::StringLiterals;

frmFormat::frmFormat(const CameraFormat& current, std::vector<CameraFormat> offered, QWidget* parent)
    : QDialog(parent),
      mOffered(std::move(offered)),
      mCurrent(current),
      lstFormats(Named<QListWidget>(this, "lstFormats"))
{
    setObjectName(u"frmFormat"_s);
    setWindowTitle(Ours::tr("Video Format"));
    lstFormats->setAccessibleName(Ours::tr("Picture sizes of the camera"));
    FocusLeavesWith(*lstFormats);
    for (const CameraFormat& format : mOffered) {
        lstFormats->addItem(u"%1 \u00D7 %2"_s.arg(format.width).arg(format.height));
        if (format.width == current.width && format.height == current.height)
            lstFormats->setCurrentRow(lstFormats->count() - 1);
    }

    auto* cmdOK = Named<QPushButton>(this, "cmdOK");
    auto* cmdCancel = Named<QPushButton>(this, "cmdCancel");
    cmdOK->setText(Ours::tr("OK"));
    cmdCancel->setText(Defined::tr("Cancel"));
    cmdOK->setDefault(true);
    connect(cmdOK, &QPushButton::clicked, this, &QDialog::accept);
    connect(cmdCancel, &QPushButton::clicked, this, &QDialog::reject);
    connect(lstFormats, &QListWidget::itemDoubleClicked, this, &QDialog::accept);

    auto* label = new QLabel(Ours::tr("Size of your video in pixels:"), this);
    label->setBuddy(lstFormats);
    auto* buttons = new QHBoxLayout;
    buttons->addStretch();
    buttons->addWidget(cmdOK);
    buttons->addWidget(cmdCancel);
    auto* column = new QVBoxLayout(this);
    column->addWidget(label);
    column->addWidget(lstFormats, 1);
    column->addLayout(buttons);
    resize(260, 280);
}

CameraFormat frmFormat::Chosen() const
{
    const QModelIndexList rows = lstFormats->selectionModel()->selectedRows();
    return rows.isEmpty() ? mCurrent : mOffered[size_t(rows.first().row())];
}
