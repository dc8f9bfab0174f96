#pragma once

#include <QImage>
#include <QRect>
#include <QString>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>

class ITWVideoSurface;

namespace Mlt {
class Consumer;
class Event;
class Frame;
class Producer;
class Profile;
} // namespace Mlt

namespace Tarnwick {

// The gain of a volume level from -100 (silent) to 0 (full). Squared, so that the
// slider's steps sound even to the ear rather than crowding at the top.
inline double GainOfLevel(int32_t level)
{
    const double share = (std::clamp(level, -100, 0) + 100) / 100.0;
    return share * share;
}

// The picture of a frame at the profile's size, as a QImage of its own.
QImage FrameImage(Mlt::Frame& frame, Mlt::Profile& profile);
// The same at another size.
QImage FrameImage(Mlt::Frame& frame, int width, int height);

// The size a playing player renders at, for a picture of frame's size shown at display
// (empty: unknown): the display's size in the frame's shape, never larger than the
// frame, in even pixels.
QSize PlayingSize(const QSize& frame, const QSize& display);

// A player on MLT: a producer played in real time with its sound through SDL, its
// pictures handed to a surface as they are due. Positions are frames of the player's
// profile, which runs at GraphFps; the callers speak milliseconds through the graph's
// MsToFrame and FrameToMs.
class MltPlayer
{
public:
    MltPlayer();
    ~MltPlayer();

    // A file (a resource of MLT's avformat producer), on a profile of its own frame size
    // (at most 640 pixels wide) and 25 frames a second, lasting frames when above 0.
    // False when MLT cannot play it.
    bool LoadFile(const QByteArray& resource, int width, int height, bool showsPictures, int32_t frames = 0);
    // A producer made on profile (the player keeps both), shown from its first frame.
    bool Load(std::unique_ptr<Mlt::Profile> profile, std::unique_ptr<Mlt::Producer> producer, bool showsPictures);
    // Puts another producer on the same profile in the place of the present one, at the
    // same position, playing on if it played.
    bool Replace(std::unique_ptr<Mlt::Producer> producer);
    Mlt::Profile* Profile() const { return m_profile.get(); }
    void Unload();
    bool Loaded() const { return static_cast<bool>(m_producer); }

    bool Play();
    bool Stop();
    bool Playing() const { return m_playing; }
    bool Seek(int32_t frame);
    int32_t Position() const;
    int32_t Length() const;
    // Renders the frame at position and shows it, while stopped.
    bool ShowFrame(int32_t frame);
    // The frame at position as a picture, while stopped.
    QImage RenderFrame(int32_t frame);

    void SetSurface(ITWVideoSurface* surface);
    // The sound's gain, 0 (silent) to 1.
    void SetVolume(double gain);
    void SetVideoWindow(const QRect& window);

    // A frame shown by the consumer, on its thread (an mlt_frame).
    void FrameShown(void* frame);

private:
    void Present(Mlt::Frame& frame);

    std::unique_ptr<Mlt::Profile> m_profile;
    // The consumer's own copy of the profile, whose size is the size frames are rendered
    // at while playing: a consumer's width and height are its profile's.
    std::unique_ptr<Mlt::Profile> m_consumerProfile;
    std::unique_ptr<Mlt::Producer> m_producer;
    std::unique_ptr<Mlt::Consumer> m_consumer;
    std::unique_ptr<Mlt::Event> m_showEvent;
    bool m_showsPictures = false;
    double m_gain = 1.0;
    void Connect();
    bool m_playing = false;
    std::atomic<int32_t> m_shownFrame{0};
    // The size frames are rendered at while playing (the consumer's), set at Play.
    QSize m_playingSize;

    std::mutex m_surfaceMutex;
    ITWVideoSurface* m_surface = nullptr;
    QRect m_window;
};

} // namespace Tarnwick
