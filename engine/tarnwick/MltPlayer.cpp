#include "engine/tarnwick/MltPlayer.h"

#include "engine/ITWVideoSurface.h"
#include "engine/tarnwick/MltRuntime.h"
#include "engine/tarnwick/TimelineGraph.h"

#include <Mlt.h>

#include <algorithm>
#include <cmath>

namespace Tarnwick {

QImage FrameImage(Mlt::Frame& frame, Mlt::Profile& profile)
{
    // A graph of tracks needs the size asked for; a lone file would give its own.
    return FrameImage(frame, profile.width(), profile.height());
}

QImage FrameImage(Mlt::Frame& frame, int width, int height)
{
    mlt_image_format format = mlt_image_rgba;
    const uint8_t* data = frame.get_image(format, width, height);
    if (!data || format != mlt_image_rgba || width <= 0 || height <= 0)
        return {};
    return QImage(data, width, height, width * 4, QImage::Format_RGBA8888).copy();
}

QSize PlayingSize(const QSize& frame, const QSize& display)
{
    if (display.isEmpty() || frame.isEmpty() || (display.width() >= frame.width() && display.height() >= frame.height()))
        return frame;
    const QSize fitted = frame.scaled(display, Qt::KeepAspectRatio);
    // Even, as 4:2:0 pictures want, and at least one chroma block.
    return {std::max(2, fitted.width() & ~1), std::max(2, fitted.height() & ~1)};
}

namespace {

constexpr int kMaxWidth = 640;

void OnFrameShow(mlt_properties, void* player, mlt_event_data data)
{
    static_cast<MltPlayer*>(player)->FrameShown(mlt_event_data_to_frame(data));
}

void SetProfile(Mlt::Profile& profile, int width, int height)
{
    if (width <= 0 || height <= 0)
        width = 320, height = 240;
    if (width > kMaxWidth) {
        height = static_cast<int>(std::lround(height * static_cast<double>(kMaxWidth) / width));
        width = kMaxWidth;
    }
    SetGraphProfile(profile, width, height);
}

} // namespace

MltPlayer::MltPlayer() = default;

MltPlayer::~MltPlayer()
{
    Unload();
}

bool MltPlayer::LoadFile(const QByteArray& resource, int width, int height, bool showsPictures, int32_t frames)
{
    Unload();
    if (!MltRuntime::Start())
        return false;
    auto profile = std::make_unique<Mlt::Profile>();
    SetProfile(*profile, width, height);
    auto producer = std::make_unique<Mlt::Producer>(*profile, "avformat", resource.constData());
    if (!producer->is_valid())
        return false;
    if (frames > 0) {
        producer->set("length", frames);
        producer->set("out", frames - 1);
    }
    return Load(std::move(profile), std::move(producer), showsPictures);
}

bool MltPlayer::Load(std::unique_ptr<Mlt::Profile> profile, std::unique_ptr<Mlt::Producer> producer, bool showsPictures)
{
    Unload();
    if (!MltRuntime::Start() || !producer || !producer->is_valid())
        return false;
    m_profile = std::move(profile);
    // At its end the producer holds its last frame rather than looping.
    producer->set("eof", "pause");
    m_producer = std::move(producer);
    m_showsPictures = showsPictures;
    m_shownFrame = 0;

    m_consumerProfile = std::make_unique<Mlt::Profile>(mlt_profile_clone(m_profile->get_profile()));
    m_consumer = std::make_unique<Mlt::Consumer>(*m_consumerProfile, "sdl2_audio");
    if (!m_consumer->is_valid()) {
        Unload();
        return false;
    }
    m_consumer->set("terminate_on_pause", 0);
    m_consumer->set("real_time", 1);
    m_consumer->set("frequency", 48000);
    m_consumer->set("channels", 2);
    m_consumer->set("volume", m_gain);
    Connect();
    m_showEvent.reset(m_consumer->listen("consumer-frame-show", this, OnFrameShow));
    return true;
}

void MltPlayer::Connect()
{
    m_consumer->connect(*m_producer);
}

bool MltPlayer::Replace(std::unique_ptr<Mlt::Producer> producer)
{
    if (!m_consumer || !producer || !producer->is_valid())
        return false;
    const bool playing = m_playing;
    const int32_t position = Position();
    if (playing) {
        m_consumer->stop();
        m_consumer->purge();
        m_playing = false;
    }
    producer->set("eof", "pause");
    m_producer = std::move(producer);
    Connect();
    m_producer->seek(std::min(position, std::max(0, m_producer->get_length() - 1)));
    m_shownFrame = m_producer->position();
    if (playing)
        return Play();
    return true;
}

void MltPlayer::SetVolume(double gain)
{
    m_gain = std::clamp(gain, 0.0, 1.0);
    if (m_consumer)
        m_consumer->set("volume", m_gain);
}

void MltPlayer::Unload()
{
    if (m_consumer) {
        m_consumer->stop();
        m_showEvent.reset();
        m_consumer.reset();
    }
    m_consumerProfile.reset();
    m_producer.reset();
    m_profile.reset();
    m_playing = false;
}

bool MltPlayer::Play()
{
    if (!m_consumer)
        return false;
    if (m_playing)
        return true;
    m_producer->set_speed(1.0);
    // Frames are rendered at the size they are shown at, straight into the pictures the
    // surface takes, on the consumer's own thread: the graph's sources are scaled once,
    // its filters work on no more pixels than are seen (the blur's radius follows the
    // width), and nothing is converted or shrunk again when the frame is painted. The
    // size goes to the consumer's profile alone; the graph's stays the project's.
    {
        std::lock_guard lock(m_surfaceMutex);
        m_playingSize = PlayingSize({m_profile->width(), m_profile->height()},
                                    m_surface && m_showsPictures ? m_surface->DisplaySize() : QSize());
    }
    m_consumer->set("width", m_playingSize.width());
    m_consumer->set("height", m_playingSize.height());
    m_consumer->set("mlt_image_format", "rgba");
    m_playing = m_consumer->start() == 0;
    return m_playing;
}

bool MltPlayer::Stop()
{
    if (!m_consumer)
        return false;
    if (m_playing) {
        m_consumer->stop();
        m_consumer->purge();
        m_playing = false;
        // The consumer reads ahead: what is kept is what was last shown.
        m_producer->seek(m_shownFrame);
    }
    m_producer->set_speed(0.0);
    return true;
}

bool MltPlayer::Seek(int32_t frame)
{
    if (!m_producer)
        return false;
    frame = std::max(0, frame);
    if (m_playing)
        m_consumer->purge();
    m_producer->seek(frame);
    m_shownFrame = frame;
    if (!m_playing && m_showsPictures)
        ShowFrame(frame);
    return true;
}

int32_t MltPlayer::Position() const
{
    if (!m_producer)
        return 0;
    return m_playing ? m_shownFrame.load() : m_producer->position();
}

int32_t MltPlayer::Length() const
{
    return m_producer ? m_producer->get_length() : 0;
}

QImage MltPlayer::RenderFrame(int32_t frame)
{
    if (!m_producer || m_playing)
        return {};
    m_producer->seek(frame);
    std::unique_ptr<Mlt::Frame> rendered(m_producer->get_frame());
    QImage image = rendered ? FrameImage(*rendered, *m_profile) : QImage();
    m_producer->seek(frame); // taking a frame moved the producer on
    return image;
}

bool MltPlayer::ShowFrame(int32_t frame)
{
    const QImage image = RenderFrame(frame);
    if (image.isNull())
        return false;
    std::lock_guard lock(m_surfaceMutex);
    if (m_surface)
        m_surface->PresentFrame(image, m_window);
    m_shownFrame = frame;
    return true;
}

void MltPlayer::SetSurface(ITWVideoSurface* surface)
{
    std::lock_guard lock(m_surfaceMutex);
    m_surface = surface;
}

void MltPlayer::SetVideoWindow(const QRect& window)
{
    std::lock_guard lock(m_surfaceMutex);
    m_window = window;
}

void MltPlayer::FrameShown(void* frame)
{
    if (!frame)
        return;
    Mlt::Frame wrapped(static_cast<mlt_frame>(frame));
    m_shownFrame = wrapped.get_position();
    if (m_showsPictures)
        Present(wrapped);
}

void MltPlayer::Present(Mlt::Frame& frame)
{
    const QImage image = m_playingSize.isEmpty() ? FrameImage(frame, *m_profile)
                                                 : FrameImage(frame, m_playingSize.width(), m_playingSize.height());
    if (image.isNull())
        return;
    std::lock_guard lock(m_surfaceMutex);
    if (m_surface)
        m_surface->PresentFrame(image, m_window);
}

} // namespace Tarnwick
