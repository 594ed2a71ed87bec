#pragma once
// One way to get frames: a camera, a file, a test picture. User-interface thread only.

#include <QByteArray>
#include <QString>
#include <chrono>
#include <vector>

#include "platform/camera.h"

class CameraDriver {
public:
    virtual ~CameraDriver() = default;
    virtual std::vector<CameraFormat> Offered() = 0;
    virtual CameraFormat Format() const = 0;
    /// False: refused, see Trouble; the format stays.
    virtual bool SetFormat(const CameraFormat& format) = 0;
    /// Starts or stops the delivery. `interval`: about how often Newest will be asked; more than 0 when on.
    virtual void Run(bool on, std::chrono::milliseconds interval) = 0;
    /// The newest frame that was not handed out yet, in Format(); null when there is none.
    virtual QByteArray Newest() = 0;
    /// Why the last SetFormat was refused.
    virtual QString Trouble() const = 0;
    /// A sentence once the source has disappeared; "" while it is there.
    virtual QString Gone() const { return {}; }
};
