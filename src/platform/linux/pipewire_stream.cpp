#include "platform/linux/pipewire_stream.h"

#include <spa/param/video/format-utils.h>
#include <unistd.h>

#include <QSocketNotifier>
#include <QTimer>
#include <cstring>
#include <optional>

#include "platform/linux/pipewire_library.h"
#include "platform/linux/stream_picture.h"
#include "text/words.h"

namespace {

constexpr int kFewestBuffers = 2, kUsualBuffers = 4, kMostBuffers = 16;  // one of them is held here
constexpr std::uint32_t kMostFramesASecond = 30;
constexpr std::size_t kParametersBytes = 1024;

/// What can be read: four bytes a pixel, in memory and not in the graphics card's.
const spa_pod* Formats(spa_pod_builder& builder)
{
    const spa_rectangle usual{1280, 720}, least{1, 1}, most{kLongestStreamSide, kLongestStreamSide};
    const spa_fraction still{0, 1}, slowest{1, 1}, fastest{kMostFramesASecond, 1};
    return static_cast<const spa_pod*>(spa_pod_builder_add_object(
        &builder, SPA_TYPE_OBJECT_Format, SPA_PARAM_EnumFormat, SPA_FORMAT_mediaType,
        SPA_POD_Id(SPA_MEDIA_TYPE_video), SPA_FORMAT_mediaSubtype, SPA_POD_Id(SPA_MEDIA_SUBTYPE_raw),
        SPA_FORMAT_VIDEO_format,
        SPA_POD_CHOICE_ENUM_Id(5, SPA_VIDEO_FORMAT_BGRx, SPA_VIDEO_FORMAT_BGRx, SPA_VIDEO_FORMAT_BGRA,
                               SPA_VIDEO_FORMAT_RGBx, SPA_VIDEO_FORMAT_RGBA),
        SPA_FORMAT_VIDEO_size, SPA_POD_CHOICE_RANGE_Rectangle(&usual, &least, &most),
        SPA_FORMAT_VIDEO_framerate, SPA_POD_CHOICE_RANGE_Fraction(&still, &still, &fastest),
        SPA_FORMAT_VIDEO_maxFramerate, SPA_POD_CHOICE_RANGE_Fraction(&fastest, &slowest, &fastest)));
}

const spa_pod* Buffers(spa_pod_builder& builder)
{
    return static_cast<const spa_pod*>(spa_pod_builder_add_object(
        &builder, SPA_TYPE_OBJECT_ParamBuffers, SPA_PARAM_Buffers, SPA_PARAM_BUFFERS_buffers,
        SPA_POD_CHOICE_RANGE_Int(kUsualBuffers, kFewestBuffers, kMostBuffers), SPA_PARAM_BUFFERS_dataType,
        SPA_POD_CHOICE_FLAGS_Int((1 << SPA_DATA_MemFd) | (1 << SPA_DATA_MemPtr))));
}

const spa_pod* Meta(spa_pod_builder& builder, std::uint32_t type, std::size_t size)
{
    return static_cast<const spa_pod*>(
        spa_pod_builder_add_object(&builder, SPA_TYPE_OBJECT_ParamMeta, SPA_PARAM_Meta, SPA_PARAM_META_type,
                                   SPA_POD_Id(type), SPA_PARAM_META_size, SPA_POD_Int(int(size))));
}

template <class T>
const T* MetaOf(const spa_buffer& buffer, std::uint32_t type)
{
    return static_cast<const T*>(spa_buffer_find_meta_data(&buffer, type, sizeof(T)));
}

/// A file's bytes are read, not mapped: its owner may cut it off meanwhile.
bool ReadData(const spa_data& data, quint64 at, uchar* to, std::size_t count)
{
    if (data.type == SPA_DATA_MemFd) {
        while (count > 0) {
            const ssize_t got = pread(int(data.fd), to, count, off_t(data.mapoffset + at));
            if (got <= 0) return false;
            at += quint64(got), to += got, count -= std::size_t(got);
        }
        return true;
    }
    if (data.type != SPA_DATA_MemPtr || !data.data || at > data.maxsize || count > data.maxsize - at)
        return false;
    std::memcpy(to, static_cast<const uchar*>(data.data) + at, count);
    return true;
}

}  // namespace

class PipeWireStream::Running {
public:
    Running(int socket, quint32 node, std::function<void()> changed) : mChanged(std::move(changed))
    {
        mLoop = mLibrary->pw_loop_new(nullptr);
        if (mLoop) {
            pw_loop_enter(mLoop);
            mContext = mLibrary->pw_context_new(mLoop, nullptr, 0);
        }
        if (mContext) mCore = mLibrary->pw_context_connect_fd(mContext, socket, nullptr, 0);
        if (!mCore) {
            if (!mContext) close(socket);  // otherwise it is taken, also by what fails
            Lose();
            return;
        }
        static const pw_core_events coreEvents = CoreEvents();
        pw_core_add_listener(mCore, &mCoreHook, &coreEvents, this);
        mWork.emplace(pw_loop_get_fd(mLoop), QSocketNotifier::Read);
        QObject::connect(&*mWork, &QSocketNotifier::activated, &mHere, [this] { pw_loop_iterate(mLoop, 0); });
        Connect(node);
    }
    ~Running()
    {
        mWork.reset();
        if (mStream) mLibrary->pw_stream_destroy(mStream);
        if (mCore) spa_hook_remove(&mCoreHook), mLibrary->pw_core_disconnect(mCore);
        if (mContext) mLibrary->pw_context_destroy(mContext);
        if (mLoop) pw_loop_leave(mLoop), mLibrary->pw_loop_destroy(mLoop);
    }

    bool runs = false, lost = false;

    Pixels Newest()
    {
        if (lost) return {};
        if (mHeld) {
            if (const Pixels picture = Read(*mHeld->buffer); !picture.IsNull()) mPicture = picture;
            mLibrary->pw_stream_queue_buffer(mStream, std::exchange(mHeld, nullptr));
        }
        return mPicture;
    }

private:
    static pw_core_events CoreEvents()
    {
        pw_core_events events{};
        events.version = PW_VERSION_CORE_EVENTS;
        events.error = &Running::CoreError;
        return events;
    }
    static pw_stream_events StreamEvents()
    {
        pw_stream_events events{};
        events.version = PW_VERSION_STREAM_EVENTS;
        events.state_changed = &Running::StateChanged;
        events.param_changed = &Running::ParameterChanged;
        events.remove_buffer = &Running::BufferRemoved;
        events.process = &Running::Process;
        return events;
    }

    void Connect(quint32 node)
    {
        static const pw_stream_events events = StreamEvents();
        // When the stream goes, nothing else may be put in its place: it would be somebody's camera.
        mStream = mLibrary->pw_stream_new(
            mCore, "Quorvia",
            mLibrary->pw_properties_new(PW_KEY_MEDIA_TYPE, "Video", PW_KEY_MEDIA_CATEGORY, "Capture",
                                        PW_KEY_MEDIA_ROLE, "Screen", PW_KEY_NODE_DONT_RECONNECT, "true",
                                        nullptr));
        if (!mStream) return Lose();
        mLibrary->pw_stream_add_listener(mStream, &mStreamHook, &events, this);
        uchar memory[kParametersBytes];
        spa_pod_builder builder{};
        spa_pod_builder_init(&builder, memory, sizeof memory);
        const spa_pod* parameters[] = {Formats(builder)};
        const auto flags = pw_stream_flags(PW_STREAM_FLAG_AUTOCONNECT | PW_STREAM_FLAG_DONT_RECONNECT);
        if (mLibrary->pw_stream_connect(mStream, PW_DIRECTION_INPUT, node, flags, parameters, 1) < 0) Lose();
    }

    static void CoreError(void* self, std::uint32_t id, int, int, const char*)
    {
        if (id == PW_ID_CORE) static_cast<Running*>(self)->Lose();
    }
    static void StateChanged(void* self, pw_stream_state, pw_stream_state now, const char*)
    {
        auto& here = *static_cast<Running*>(self);
        if (now == PW_STREAM_STATE_ERROR || now == PW_STREAM_STATE_UNCONNECTED) here.Lose();
    }
    static void ParameterChanged(void* self, std::uint32_t id, const spa_pod* parameter)
    {
        if (id == SPA_PARAM_Format) static_cast<Running*>(self)->FormatChanged(parameter);
    }
    static void BufferRemoved(void* self, pw_buffer* buffer)
    {
        auto& here = *static_cast<Running*>(self);
        if (here.mHeld == buffer) here.mHeld = nullptr;
    }
    static void Process(void* self) { static_cast<Running*>(self)->TakeNewest(); }

    void FormatChanged(const spa_pod* parameter)
    {
        mFormat = {};
        if (!parameter || spa_format_video_raw_parse(parameter, &mFormat) < 0) return;
        uchar memory[kParametersBytes];
        spa_pod_builder builder{};
        spa_pod_builder_init(&builder, memory, sizeof memory);
        const spa_pod* parameters[] = {
            Buffers(builder), Meta(builder, SPA_META_Header, sizeof(spa_meta_header)),
            Meta(builder, SPA_META_VideoCrop, sizeof(spa_meta_region)),
            Meta(builder, SPA_META_VideoTransform, sizeof(spa_meta_videotransform))};
        mLibrary->pw_stream_update_params(mStream, parameters, std::size(parameters));
    }

    /// It is read when somebody wants it; of the others that come meanwhile nothing is copied.
    void TakeNewest()
    {
        while (pw_buffer* next = mLibrary->pw_stream_dequeue_buffer(mStream)) {
            pw_buffer* old = HasPicture(*next->buffer) ? std::exchange(mHeld, next) : next;
            if (old) mLibrary->pw_stream_queue_buffer(mStream, old);
        }
        if (mHeld && !std::exchange(runs, true)) Tell();
    }
    /// Some senders pass a buffer on to tell only where the pointer is.
    static bool HasPicture(const spa_buffer& buffer)
    {
        if (buffer.n_datas < 1 || !buffer.datas[0].chunk || buffer.datas[0].chunk->size == 0) return false;
        const auto* header = MetaOf<spa_meta_header>(buffer, SPA_META_Header);
        return !(buffer.datas[0].chunk->flags & SPA_CHUNK_FLAG_CORRUPTED) &&
               !(header && (header->flags & SPA_META_HEADER_FLAG_CORRUPTED));
    }

    Pixels Read(const spa_buffer& buffer)
    {
        const spa_data& data = buffer.datas[0];
        StreamFrame frame;
        frame.width = mFormat.size.width, frame.height = mFormat.size.height;
        frame.redFirst = mFormat.format == SPA_VIDEO_FORMAT_RGBx || mFormat.format == SPA_VIDEO_FORMAT_RGBA;
        frame.stride = data.chunk->stride, frame.offset = data.chunk->offset, frame.size = data.chunk->size;
        if (const auto* crop = MetaOf<spa_meta_region>(buffer, SPA_META_VideoCrop))
            if (spa_meta_region_is_valid(crop))
                frame.crop = QRect(crop->region.position.x, crop->region.position.y,
                                   int(crop->region.size.width), int(crop->region.size.height));
        if (const auto* turn = MetaOf<spa_meta_videotransform>(buffer, SPA_META_VideoTransform))
            frame.transform = turn->transform;
        return PictureOf(frame, [&data](quint64 at, uchar* to, std::size_t count) {
            return ReadData(data, at, to, count);
        });
    }

    void Lose()
    {
        if (std::exchange(lost, true)) return;
        mPicture = {};
        Tell();
    }
    void Tell() { QTimer::singleShot(0, &mHere, mChanged); }

    const PipeWireLibrary* const mLibrary = PipeWireLibrary::Open();
    const std::function<void()> mChanged;
    QObject mHere;  // what is still to be told goes with it
    pw_loop* mLoop = nullptr;
    pw_context* mContext = nullptr;
    pw_core* mCore = nullptr;
    pw_stream* mStream = nullptr;
    spa_hook mCoreHook{}, mStreamHook{};
    std::optional<QSocketNotifier> mWork;
    spa_video_info_raw mFormat{};
    pw_buffer* mHeld = nullptr;  // the newest, not given back
    Pixels mPicture;             // what was read last
};

QString PipeWireStream::WhyNot()
{
    if (PipeWireLibrary::Open()) return {};
    return Ours::tr(
        "On Wayland the pictures of windows come through PipeWire, and its "
        "library is not installed (package libpipewire-0.3-0).");
}

PipeWireStream::PipeWireStream(int socket, quint32 node, std::function<void()> changed)
    : mRunning(std::make_unique<Running>(socket, node, std::move(changed)))
{
}

PipeWireStream::~PipeWireStream() = default;

bool PipeWireStream::Runs() const
{
    return mRunning->runs;
}

bool PipeWireStream::Lost() const
{
    return mRunning->lost;
}

Pixels PipeWireStream::Newest()
{
    return mRunning->Newest();
}
