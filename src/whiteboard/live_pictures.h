#pragma once
// The live pictures of a meeting by themselves: cameras, shared windows, whatever else is sent as a picture
// that moves. They lie on each other in the order in which they began. A rule: no window, no clock.
// User-interface thread only.

#include <QImage>
#include <QRegion>
#include <QString>
#include <chrono>
#include <vector>

#include "contract/picture.h"

/// Whose picture, and of which kind: kFrameVideo, kFrameApplication, or another number, which are all one
/// kind.
struct LiveSource {
    QString handle;
    qint32 type;
};

class Board;

class LivePictures {
public:
    using Time = std::chrono::steady_clock::time_point;
    static constexpr std::size_t kMost = 64;
    static constexpr qsizetype kMostBytes = 64 * 1024 * 1024;
    /// A picture that nothing has come of for so long, and for three times as long as the last one took, has
    /// ceased. Nobody is told when a camera stops.
    static constexpr std::chrono::seconds kCeases{5};

    /// From now on somebody looks at them and asks what has changed. Until then only their places are known:
    /// what lies there on `board` is what they look like.
    void BeginShowing(const Board& board);
    /// Nobody does any more, as at first.
    void EndShowing();
    /// From now on it looks like this, there. Beyond the bounds the one that nothing came of for longest
    /// goes. What lies beside the board is not kept.
    void Put(const LiveSource& source, const Pixels& pixels, QPoint at, Time now);
    /// False: there was none.
    bool Stop(const LiveSource& source);
    /// All of that attendee's.
    void StopAllOf(const QString& handle);
    void StopAll();
    /// Those that have ceased, apart from windows, which send nothing while others are in front of them.
    std::vector<LiveSource> StopCeased(Time now);
    /// Windows, too.
    void StopAtClear(Time now);

    bool Empty() const { return mPictures.empty(); }
    /// Where something is, board pixels.
    QRegion Places() const;
    /// Where others lie on the one that came with these pixels.
    QRegion Above(const Pixels& pixels) const;
    /// What is seen of them in `area` and white elsewhere, row after row.
    void CopyTo(QRgb* pixels, const QRect& area) const;
    /// What looks different since the last call, board pixels.
    QRegion TakeChanged();

private:
    struct One {
        LiveSource source;
        QImage image;         // null: nobody looks
        const uchar* pixels;  // as they came; to know it by
        QRect place;
        Time last;
        Time::duration gap{};
        bool Ceased(Time now) const;
    };
    using Spot = std::vector<One>::iterator;

    template <class Which>
    std::vector<LiveSource> StopThose(Which which);
    Spot Find(const LiveSource& source);
    QRegion AboveIt(std::vector<One>::const_iterator one) const;
    void Changed(const QRegion& places);
    void Bound(const LiveSource& kept);

    std::vector<One> mPictures;  // the last is on top
    QRegion mChanged;
    bool mShown = false;
};
