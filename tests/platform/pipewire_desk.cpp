#include "platform/pipewire_desk.h"

#include <pipewire/pipewire.h>
#include <signal.h>
#include <spa/param/video/format-utils.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <QFile>
#include <algorithm>
#include <cstring>
#include <ctime>
#include <stdexcept>
#include <vector>

using namespace Qt::StringLiterals;

namespace {

constexpr char kConfiguration[] = R"(
context.properties = { core.daemon = true core.name = pipewire-0 support.dbus = false }
context.spa-libs = { support.* = support/libspa-support }
context.modules = [
  { name = libpipewire-module-protocol-native }
  { name = libpipewire-module-access }
  { name = libpipewire-module-client-node }
  { name = libpipewire-module-link-factory }
]
context.exec = [ { path = "echo" args = "ready" } ]
)";

spa_pod* Format(spa_pod_builder& builder, QSize size)
{
    const spa_rectangle area{quint32(size.width()), quint32(size.height())};
    const spa_fraction any{0, 1};
    return static_cast<spa_pod*>(spa_pod_builder_add_object(
        &builder, SPA_TYPE_OBJECT_Format, SPA_PARAM_EnumFormat, SPA_FORMAT_mediaType,
        SPA_POD_Id(SPA_MEDIA_TYPE_video), SPA_FORMAT_mediaSubtype, SPA_POD_Id(SPA_MEDIA_SUBTYPE_raw),
        SPA_FORMAT_VIDEO_format, SPA_POD_Id(SPA_VIDEO_FORMAT_BGRx), SPA_FORMAT_VIDEO_size,
        SPA_POD_Rectangle(&area), SPA_FORMAT_VIDEO_framerate, SPA_POD_Fraction(&any)));
}

}  // namespace

PipeWireDaemon::PipeWireDaemon()
{
    QFile file(mFolder / "pipewire.conf");
    if (!file.open(QIODevice::WriteOnly) || file.write(kConfiguration) < 0)
        throw std::runtime_error("no pipewire.conf");
    file.close();
    mDaemon = std::make_unique<stage::Child>(
        u"pipewire"_s, QStringList{u"-c"_s, file.fileName()},
        std::map<QString, QString>{{u"PIPEWIRE_RUNTIME_DIR"_s, mFolder.Path()}}, mFolder / "log");
    if (mDaemon->ReadLine() != "ready") throw std::runtime_error("pipewire does not get ready");
}

int PipeWireDaemon::Connect() const
{
    const QByteArray path = QFile::encodeName(mFolder / "pipewire-0");
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, path.constData(), size_t(path.size()));
    const int made = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (connect(made, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
        throw std::runtime_error("no way to pipewire");
    return made;
}

void PipeWireDaemon::Kill()
{
    mDaemon->Signal(SIGKILL);
    mDaemon->WaitForEnd();
}

/// On a thread of its own; what others do to it stands between Locked.
struct PictureSource::Running {
    pw_thread_loop* loop = pw_thread_loop_new("source", nullptr);
    pw_context* context = pw_context_new(pw_thread_loop_get_loop(loop), nullptr, 0);
    pw_core* core = nullptr;
    pw_stream* stream = nullptr;
    std::vector<pw_proxy*> made;  // of what the daemon has
    spa_source* clock = nullptr;
    spa_hook registryHook{}, streamHook{};
    QSize size, negotiated;
    quint32 colour = 0, own = PW_ID_ANY;

    static void Global(void* self, uint32_t id, uint32_t, const char* type, uint32_t, const spa_dict* words)
    {
        auto& here = *static_cast<Running*>(self);
        const char* node = words ? spa_dict_lookup(words, PW_KEY_NODE_ID) : nullptr;
        if (std::strcmp(type, PW_TYPE_INTERFACE_Port) != 0 || !node || QByteArray(node).toUInt() == here.own)
            return;
        pw_properties* ends = pw_properties_new(PW_KEY_LINK_INPUT_NODE, node, nullptr);
        pw_properties_setf(ends, PW_KEY_LINK_OUTPUT_NODE, "%u", here.own);
        pw_properties_setf(ends, PW_KEY_LINK_INPUT_PORT, "%u", id);
        here.made.push_back(static_cast<pw_proxy*>(pw_core_create_object(
            here.core, "link-factory", PW_TYPE_INTERFACE_Link, PW_VERSION_LINK, &ends->dict, 0)));
        pw_properties_free(ends);
    }
    static void StateChanged(void* self, pw_stream_state, pw_stream_state, const char*)
    {
        auto& here = *static_cast<Running*>(self);
        here.own = pw_stream_get_node_id(here.stream);
        pw_thread_loop_signal(here.loop, false);
    }
    static void ParameterChanged(void* self, uint32_t id, const spa_pod* parameter)
    {
        auto& here = *static_cast<Running*>(self);
        spa_video_info_raw format{};
        if (id != SPA_PARAM_Format || !parameter || spa_format_video_raw_parse(parameter, &format) < 0)
            return;
        here.negotiated = QSize(int(format.size.width), int(format.size.height));
        const int stride = here.negotiated.width() * 4;
        uchar memory[1024];
        spa_pod_builder builder{};
        spa_pod_builder_init(&builder, memory, sizeof memory);
        const auto* buffers = static_cast<const spa_pod*>(spa_pod_builder_add_object(
            &builder, SPA_TYPE_OBJECT_ParamBuffers, SPA_PARAM_Buffers, SPA_PARAM_BUFFERS_buffers,
            SPA_POD_CHOICE_RANGE_Int(4, 2, 8), SPA_PARAM_BUFFERS_blocks, SPA_POD_Int(1),
            SPA_PARAM_BUFFERS_size, SPA_POD_Int(stride * here.negotiated.height()), SPA_PARAM_BUFFERS_stride,
            SPA_POD_Int(stride), SPA_PARAM_BUFFERS_dataType, SPA_POD_CHOICE_FLAGS_Int(1 << SPA_DATA_MemFd)));
        pw_stream_update_params(here.stream, &buffers, 1);
    }
    static void Process(void* self)
    {
        auto& here = *static_cast<Running*>(self);
        pw_buffer* buffer = pw_stream_dequeue_buffer(here.stream);
        if (!buffer) return;
        spa_data& data = buffer->buffer->datas[0];
        const std::size_t pixels = std::min<std::size_t>(
            data.maxsize / 4, size_t(here.negotiated.width() * here.negotiated.height()));
        std::fill_n(static_cast<quint32*>(data.data), data.data ? pixels : 0, here.colour);
        data.chunk->offset = 0, data.chunk->stride = here.negotiated.width() * 4;
        data.chunk->size = uint32_t(pixels * 4);
        pw_stream_queue_buffer(here.stream, buffer);
    }
    static void Tick(void* self, uint64_t) { pw_stream_trigger_process(static_cast<Running*>(self)->stream); }

    void Offer(pw_stream_flags flags)
    {
        uchar memory[1024];
        spa_pod_builder builder{};
        spa_pod_builder_init(&builder, memory, sizeof memory);
        const spa_pod* format = Format(builder, size);
        if (own != PW_ID_ANY)
            pw_stream_update_params(stream, &format, 1);
        else
            pw_stream_connect(stream, PW_DIRECTION_OUTPUT, PW_ID_ANY, flags, &format, 1);
    }
    void Start(int socket)
    {
        static const pw_registry_events registryEvents{PW_VERSION_REGISTRY_EVENTS, &Running::Global, nullptr};
        static pw_stream_events streamEvents{};
        streamEvents.version = PW_VERSION_STREAM_EVENTS;
        streamEvents.state_changed = &Running::StateChanged;
        streamEvents.param_changed = &Running::ParameterChanged;
        streamEvents.process = &Running::Process;
        pw_thread_loop_start(loop);
        pw_thread_loop_lock(loop);
        core = pw_context_connect_fd(context, socket, nullptr, 0);
        stream = pw_stream_new(core, "somebody's window",
                               pw_properties_new(PW_KEY_MEDIA_CLASS, "Video/Source", nullptr));
        pw_stream_add_listener(stream, &streamHook, &streamEvents, this);
        Offer(pw_stream_flags(PW_STREAM_FLAG_DRIVER | PW_STREAM_FLAG_MAP_BUFFERS));
        while (own == PW_ID_ANY) pw_thread_loop_wait(loop);
        pw_registry* const registry = pw_core_get_registry(core, PW_VERSION_REGISTRY, 0);
        made.push_back(reinterpret_cast<pw_proxy*>(registry));
        pw_registry_add_listener(registry, &registryHook, &registryEvents, this);
        clock = pw_loop_add_timer(pw_thread_loop_get_loop(loop), &Running::Tick, this);
        timespec often{0, 20'000'000};
        pw_loop_update_timer(pw_thread_loop_get_loop(loop), clock, &often, &often, false);
        pw_thread_loop_unlock(loop);
    }
    ~Running()
    {
        pw_thread_loop_stop(loop);
        if (clock) pw_loop_destroy_source(pw_thread_loop_get_loop(loop), clock);
        if (stream) pw_stream_destroy(stream);
        for (pw_proxy* const one : made) pw_proxy_destroy(one);
        if (core) pw_core_disconnect(core);
        pw_context_destroy(context);
        pw_thread_loop_destroy(loop);
    }
};

PictureSource::PictureSource(const PipeWireDaemon& daemon, QSize size, quint32 colour)
{
    pw_init(nullptr, nullptr);
    mRunning = std::make_unique<Running>();
    mRunning->size = size, mRunning->colour = colour;
    mRunning->Start(daemon.Connect());
}

PictureSource::~PictureSource() = default;

quint32 PictureSource::Node() const
{
    return mRunning->own;
}

void PictureSource::Show(QSize size, quint32 colour)
{
    pw_thread_loop_lock(mRunning->loop);
    mRunning->size = size, mRunning->colour = colour;
    mRunning->Offer({});
    pw_thread_loop_unlock(mRunning->loop);
}
