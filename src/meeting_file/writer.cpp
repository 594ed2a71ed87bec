#include "meeting_file/writer.h"

#include <zstd.h>

namespace meeting_file {

namespace {

constexpr std::size_t kFrameBytes = 256 * 1024;
constexpr std::uint32_t kFrameItems = 1024;
// [Of 64 MB of pen strokes in such frames: level 1 makes a sixth at 192 MB/s, 3 a fifth at 152, 9 a sixth
// at 17.]
constexpr int kLevel = 1;

std::string Skippable(std::uint32_t magic, std::string_view content)
{
    std::string frame;
    Put(frame, magic);
    Put(frame, std::uint32_t(content.size()));
    return frame.append(content);
}

std::string HeadOf(const About& about)
{
    if (about.title.size() > kTitleBytes || about.program.size() > kTitleBytes)
        throw BadFile("the meeting's name is too long for a meeting file");
    std::string head(kHeadMagic);
    Put(head, kVersion);
    Put(head, std::uint32_t(0));
    Put(head, about.made);
    Put(head, std::uint16_t(about.title.size()));
    Put(head, std::uint16_t(about.program.size()));
    return head + about.title + about.program;
}

void CheckBounds(const Item& item)
{
    if (item.body.size() > kBodyBytes || item.from.size() > kHandleBytes)
        throw BadFile("an item of " + std::to_string(item.body.size()) +
                      " bytes is too large for a meeting file (8 MiB)");
}

void PutItem(std::string& to, const Item& item)
{
    const bool placed = item.kind == Kind::Picture;
    const std::size_t size =
        kItemFixedBytes + item.from.size() + (placed ? kPlaceBytes : 0) + item.body.size();
    Put(to, std::uint32_t(size));
    Put(to, std::uint8_t(item.kind));
    Put(to, std::uint8_t(0));
    Put(to, std::uint16_t(item.from.size()));
    Put(to, item.sequence);
    Put(to, item.time);
    to += item.from;
    if (placed) {
        Put(to, item.x);
        Put(to, item.y);
    }
    to += item.body;
}

}  // namespace

struct Writer::Packer {
    Packer() : context(ZSTD_createCCtx())
    {
        if (!context) throw std::bad_alloc();
        ZSTD_CCtx_setParameter(context, ZSTD_c_compressionLevel, kLevel);
        ZSTD_CCtx_setParameter(context, ZSTD_c_checksumFlag, 1);
    }
    ~Packer() { ZSTD_freeCCtx(context); }
    Packer(const Packer&) = delete;
    Packer& operator=(const Packer&) = delete;

    std::string Pack(std::string_view plain) const
    {
        std::string packed(ZSTD_compressBound(plain.size()), '\0');
        const std::size_t size =
            ZSTD_compress2(context, packed.data(), packed.size(), plain.data(), plain.size());
        if (ZSTD_isError(size)) throw std::runtime_error(ZSTD_getErrorName(size));
        packed.resize(size);
        return packed;
    }

    ZSTD_CCtx* context;
};

Writer::Writer(const About& about, std::function<void(std::string_view)> put)
    : mPut(std::move(put)), mPacker(std::make_unique<Packer>())
{
    const std::string head = HeadOf(about);
    mHeadSum = Sum(head);
    std::string content = head;
    meeting_file::Put(content, mHeadSum);
    Put(Skippable(kHeadFrame, content));
}

Writer::~Writer() = default;

void Writer::Put(std::string_view bytes)
{
    mPut(bytes);
    mOffset += bytes.size();
}

void Writer::Add(const Item& item)
{
    CheckBounds(item);
    const std::size_t before = mPlain.size();
    PutItem(mPlain, item);
    mPlainBytes += mPlain.size() - before;
    if (++mItems > kItems || mPlainBytes > kPlainBytes)
        throw BadFile("the meeting is too large for a meeting file (2 GiB, 4,000,000 items)");
    ++mFrame.items;
    if (mPlain.size() >= kFrameBytes || mFrame.items >= kFrameItems) PackFrame();
}

void Writer::PackFrame()
{
    mIndex.push_back(mFrame);
    Put(Packed(mIndex.back()));
    mFrame = {};
    mPlain.clear();
}

/// The items since the last frame; fills in what `frame` does not know of itself.
std::string Writer::Packed(Entry& frame) const
{
    std::string packed = mPacker->Pack(mPlain);
    frame.plain = std::uint32_t(mPlain.size());
    frame.packed = std::uint32_t(packed.size());
    frame.sum = Sum(packed);
    return packed;
}

std::string Writer::Tail() const
{
    std::vector<Entry> frames = mIndex;
    std::string tail;
    if (!mPlain.empty()) {
        frames.push_back(mFrame);
        tail = Packed(frames.back());
    }
    std::string index;
    for (const Entry& entry : frames) {
        meeting_file::Put(index, entry.packed);
        meeting_file::Put(index, entry.plain);
        meeting_file::Put(index, entry.items);
        meeting_file::Put(index, entry.sum);
    }
    meeting_file::Put(index, mHeadSum);
    meeting_file::Put(index, mOffset + tail.size());  // where the index's frame begins
    meeting_file::Put(index, std::uint32_t(frames.size()));
    meeting_file::Put(index, kVersion);
    meeting_file::Put(index, Sum(index));
    return tail + Skippable(kIndexFrame, index.append(kIndexMagic));
}

}  // namespace meeting_file
