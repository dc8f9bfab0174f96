#include "engine/tarnwick/GraphEncoder.h"

#include "engine/tarnwick/TimelineGraph.h"

#include <Mlt.h>

#include <QFile>
#include <QThread>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/audio_fifo.h>
#include <libavutil/channel_layout.h>
#include <libavutil/imgutils.h>
#include <libavutil/opt.h>
#include <libswresample/swresample.h>
#include <libswscale/swscale.h>
}

#include <algorithm>
#include <chrono>
#include <cmath>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>
#include <vector>

namespace Tarnwick {

namespace {

bool Fail(QString* error, const QString& text)
{
    if (error)
        *error = text;
    return false;
}

} // namespace

// The file being written with its encoders, and the graph it is made from.
struct GraphEncoder::Output
{
    ~Output()
    {
        writer.reset();
        graph.reset();
        profile.reset();
    }

    bool Open(QString* error);
    // The graph frame an output frame shows.
    int32_t GraphFrameOf(int32_t outputFrame) const;

    EncodeSettings settings;
    std::unique_ptr<Mlt::Profile> profile;
    std::unique_ptr<Mlt::Producer> graph;
    int32_t graphFrames = 0;
    int graphFps = GraphFps;
    int width = 0, height = 0;
    int fps = GraphFps;
    int32_t startMs = 0, lengthMs = 0;
    int32_t outputFrames = 0;   // pictures due
    int64_t firstSample = 0;    // of the graph's 48 kHz sound
    int64_t soundSamples = 0;   // due, at 48 kHz
    std::unique_ptr<MovieWriter> writer = std::make_unique<MovieWriter>();
};

bool GraphEncoder::Output::Open(QString* error)
{
    width = profile->width();
    height = profile->height();
    graphFps = std::max(1, profile->frame_rate_num() / std::max(1, profile->frame_rate_den()));
    fps = settings.frameRate > 0 ? settings.frameRate : graphFps;
    graphFrames = std::max(0, graph->get_length());
    const int32_t graphEndMs = static_cast<int32_t>(static_cast<int64_t>(graphFrames) * 1000 / graphFps);
    startMs = std::max(0, settings.startMs);
    const int32_t stopMs = settings.stopMs < 0 ? graphEndMs : settings.stopMs;
    lengthMs = stopMs - startMs;
    if (lengthMs <= 0)
        return Fail(error, QStringLiteral("There is nothing to save in that range."));
    outputFrames = std::max<int32_t>(1, static_cast<int32_t>(std::lround(lengthMs * static_cast<double>(fps) / 1000.0)));
    firstSample = static_cast<int64_t>(startMs) * GraphFrequency / 1000;
    soundSamples = static_cast<int64_t>(lengthMs) * GraphFrequency / 1000;

    return writer->Open(settings, width, height, fps, error);
}

int32_t GraphEncoder::Output::GraphFrameOf(int32_t outputFrame) const
{
    // The frame nearest the output frame's moment, as the preview seeks to a moment.
    const double ms = startMs + outputFrame * 1000.0 / fps;
    return static_cast<int32_t>(std::lround(ms * graphFps / 1000.0));
}

GraphEncoder::GraphEncoder() = default;

GraphEncoder::~GraphEncoder() = default;

bool GraphEncoder::Open(std::unique_ptr<Mlt::Profile> profile, std::unique_ptr<Mlt::Producer> graph,
                        const EncodeSettings& settings, QString* error)
{
    m_output = std::make_unique<Output>();
    m_output->settings = settings;
    m_output->profile = std::move(profile);
    m_output->graph = std::move(graph);
    m_stop = false;
    m_doneMs = 0;
    if (!m_output->Open(error)) {
        Discard();
        return false;
    }
    return true;
}

void GraphEncoder::Discard()
{
    if (!m_output)
        return;
    const QString path = m_output->settings.path;
    m_output.reset();
    QFile::remove(path);
}

void GraphEncoder::Stop()
{
    m_stop = true;
}

int32_t GraphEncoder::LengthMs() const
{
    return m_output ? m_output->lengthMs : 0;
}

int32_t GraphEncoder::OutputFrames() const
{
    return m_output && m_output->writer->HasVideo() ? m_output->outputFrames : 0;
}

double GraphEncoder::FrameRate() const
{
    return m_output ? m_output->fps : 0.0;
}

int GraphEncoder::Width() const
{
    return m_output ? m_output->width : 0;
}

int GraphEncoder::Height() const
{
    return m_output ? m_output->height : 0;
}

double GraphEncoder::SoundFrameMs() const
{
    return m_output ? m_output->writer->SoundFrameMs() : 0.0;
}

namespace {

// A frame of the graph on its way to the file: taken in order with its sound, its
// picture rendered by a worker when an output frame shows it.
struct Slot
{
    int32_t graphFrame = 0;
    std::unique_ptr<Mlt::Frame> frame; // null past the graph's end
    std::vector<int16_t> sound;        // its samples within the stretch
    int copies = 0;                    // output frames that show it
    FramePtr picture;
    bool rendered = false;
};

} // namespace

GraphEncoder::Result GraphEncoder::Run(const EncodeProgress& progress, QString* error)
{
    if (!m_output) {
        Fail(error, QStringLiteral("The movie was not prepared."));
        return Result::Failed;
    }
    Output& out = *m_output;
    const bool pictures = out.writer->HasVideo();
    const bool sound = out.writer->HasAudio();

    std::mutex mutex;
    std::condition_variable changed;
    std::deque<std::unique_ptr<Slot>> inOrder; // taken, not yet written
    std::deque<Slot*> toRender;
    bool stopping = false, fed = false;
    const int threads = pictures ? std::clamp(QThread::idealThreadCount(), 1, 4) : 0;
    const size_t ahead = static_cast<size_t>(2 * threads + 4);

    // The graph's frames in order, with their sound cut to the stretch.
    auto feed = [&] {
        const int32_t firstFrame = std::min(out.GraphFrameOf(0), static_cast<int32_t>(out.firstSample * out.graphFps / GraphFrequency));
        if (firstFrame < out.graphFrames) {
            out.graph->seek(firstFrame);
            out.graph->set_speed(1.0);
        }
        const int64_t lastSample = out.firstSample + out.soundSamples;
        int32_t nextOutput = 0;
        int64_t soundAt = out.firstSample;
        for (int32_t g = firstFrame; (pictures && nextOutput < out.outputFrames) || (sound && soundAt < lastSample); ++g) {
            auto slot = std::make_unique<Slot>();
            slot->graphFrame = g;
            if (g < out.graphFrames)
                slot->frame.reset(out.graph->get_frame());
            if (sound) {
                std::vector<int16_t> all;
                if (slot->frame)
                    TakeSound(*slot->frame, g, all);
                const int64_t from = static_cast<int64_t>(g) * GraphFrequency / out.graphFps;
                const int64_t to = static_cast<int64_t>(g + 1) * GraphFrequency / out.graphFps;
                all.resize(static_cast<size_t>(to - from) * GraphChannels, 0);
                const int64_t keepFrom = std::max(from, soundAt), keepTo = std::min(to, lastSample);
                if (keepTo > keepFrom) {
                    slot->sound.assign(all.begin() + (keepFrom - from) * GraphChannels, all.begin() + (keepTo - from) * GraphChannels);
                    soundAt = keepTo;
                }
            }
            while (pictures && nextOutput < out.outputFrames && out.GraphFrameOf(nextOutput) <= g) {
                ++slot->copies;
                ++nextOutput;
            }
            std::unique_lock lock(mutex);
            changed.wait(lock, [&] { return stopping || inOrder.size() < ahead; });
            if (stopping)
                break;
            Slot* raw = slot.get();
            raw->rendered = raw->copies == 0;
            inOrder.push_back(std::move(slot));
            if (!raw->rendered)
                toRender.push_back(raw);
            changed.notify_all();
        }
        std::lock_guard lock(mutex);
        fed = true;
        changed.notify_all();
    };

    auto render = [&] {
        SwsContext* converter = nullptr;
        for (;;) {
            Slot* slot = nullptr;
            {
                std::unique_lock lock(mutex);
                changed.wait(lock, [&] { return stopping || !toRender.empty(); });
                if (stopping)
                    break;
                slot = toRender.front();
                toRender.pop_front();
            }
            const uint8_t* image = nullptr;
            if (slot->frame) {
                mlt_image_format format = mlt_image_yuv420p;
                int w = out.width, h = out.height;
                image = slot->frame->get_image(format, w, h);
                if (format != mlt_image_yuv420p || w != out.width || h != out.height)
                    image = nullptr; // a picture that could not be made is black, not a hole
            }
            FramePtr picture = out.writer->Picture(image, converter);
            std::lock_guard lock(mutex);
            slot->picture = std::move(picture);
            slot->rendered = true;
            changed.notify_all();
        }
        sws_freeContext(converter);
    };

    std::thread feeder(feed);
    std::vector<std::thread> workers;
    for (int i = 0; i < threads; ++i)
        workers.emplace_back(render);

    Result result = Result::Done;
    QString failure;
    int32_t written = 0, graphDone = 0;
    const int32_t total = pictures ? out.outputFrames : static_cast<int32_t>(out.soundSamples * out.graphFps / GraphFrequency);
    int64_t soundWritten = 0;
    for (;;) {
        std::unique_ptr<Slot> slot;
        {
            std::unique_lock lock(mutex);
            // Stop comes from another thread without a word to this one: looked at often.
            while (!m_stop && !(!inOrder.empty() && inOrder.front()->rendered) && !(fed && inOrder.empty()))
                changed.wait_for(lock, std::chrono::milliseconds(20));
            if (m_stop) {
                result = Result::Stopped;
                break;
            }
            if (inOrder.empty())
                break;
            slot = std::move(inOrder.front());
            inOrder.pop_front();
            changed.notify_all();
        }
        bool ok = true;
        for (int c = 0; c < slot->copies && ok; ++c) {
            ok = slot->picture ? out.writer->WriteVideo(*slot->picture, &failure)
                               : Fail(&failure, QStringLiteral("No memory for a picture."));
            written += ok;
        }
        ok = ok && out.writer->WriteAudio(slot->sound.data(), static_cast<int>(slot->sound.size() / GraphChannels), &failure);
        if (!ok) {
            result = Result::Failed;
            break;
        }
        soundWritten += static_cast<int64_t>(slot->sound.size() / GraphChannels);
        ++graphDone;
        m_doneMs = pictures ? static_cast<int32_t>(static_cast<int64_t>(written) * 1000 / out.fps)
                            : static_cast<int32_t>(soundWritten * 1000 / GraphFrequency);
        if (progress && (slot->copies > 0 || !pictures) && !progress(pictures ? written : graphDone, total)) {
            result = Result::Stopped;
            break;
        }
    }
    {
        std::lock_guard lock(mutex);
        stopping = true;
        changed.notify_all();
    }
    feeder.join();
    for (std::thread& t : workers)
        t.join();
    inOrder.clear();

    QString finishing;
    const bool finished = out.writer->Finish(&finishing);
    if (result == Result::Failed) {
        if (error)
            *error = failure;
    } else if (!finished) {
        result = Result::Failed;
        if (error)
            *error = finishing;
    }
    return result;
}

bool EncodeGraph(std::unique_ptr<Mlt::Profile> profile, std::unique_ptr<Mlt::Producer> graph,
                 const EncodeSettings& settings, const EncodeProgress& progress, QString* error)
{
    GraphEncoder encoder;
    if (!encoder.Open(std::move(profile), std::move(graph), settings, error))
        return false;
    const GraphEncoder::Result result = encoder.Run(progress, error);
    if (result == GraphEncoder::Result::Done)
        return true;
    if (result == GraphEncoder::Result::Stopped && error)
        error->clear();
    encoder.Discard();
    return false;
}

} // namespace Tarnwick
