#pragma once

#include "engine/ITWCoreRoot.h"
#include "engine/ITWKeyTransition.h"
#include "engine/ITWMediaFiles.h"
#include "engine/ITWStreamInfo.h"
#include "engine/ITWTimeline.h"
#include "engine/tarnwick/GraphEncoder.h"
#include "engine/tarnwick/MediaProbe.h"
#include "engine/tarnwick/TimelineGraph.h"
#include "engine/tarnwick/TimelineModel.h"

#include <QImage>

#include <map>
#include <memory>
#include <vector>

class TarnwickFilePreview;
class TarnwickPreview;

// Quillmont's timeline engine: the one object behind every ITW interface. It keeps
// the timeline as a plain model, learns about media files with FFmpeg, and renders
// with MLT.
class TarnwickTimeline final : public ITWCoreRoot,
                               public ITWTimeline,
                               public ITWKeyTransition,
                               public ITWMediaFiles,
                               public ITWStreamInfo
{
public:
    TarnwickTimeline();
    ~TarnwickTimeline() override;

    // ITWCoreRoot
    int32_t OpenFile(const QString& path) override;
    bool CloseFile(int32_t file) override;
    bool GetFileName(int32_t file, int32_t size, QString& name) override;
    int32_t GetFirstStream(int32_t file) override;
    bool FileExists(const QString& path) override;
    bool ReleaseStillSource(int32_t handle) override;
    QString GetWorkingFolder(int32_t size) override;
    void GetFileVersionInfo(const QString& fileName, int32_t& major, int32_t& minor, int32_t& build,
                            int32_t& revision) override;
    void GetMemoryStatus(int32_t& load, int32_t& totalPhysical, int32_t& freePhysical, int32_t& freeSwap) override;
    QString GetSystemVersion(int32_t size) override;
    bool CheckDirectShowVersion() override;
    int32_t GetFileError(const QString& path) override;

    // ITWTimeline
    int32_t CreateTrack(bool isVideo) override;
    bool AppendSource(int32_t track, int32_t stream, int32_t start) override;
    bool AddEffectAt(int32_t track, const QString& name, int32_t start, int32_t stop) override;
    bool AddTransitionAt(int32_t track, const QString& name, int32_t start, int32_t stop) override;
    bool InsertSource(int32_t track, int32_t stream, int16_t seq, int32_t start, int32_t stop) override;
    bool InsertEffect(int32_t track, const QString& name, int16_t seq, int32_t start, int32_t stop,
                      int32_t reserved) override;
    bool InsertTransition(int32_t track, const QString& name, int16_t seq, int32_t start, int32_t stop,
                          int32_t reserved) override;
    bool RemoveSource(int32_t track, int16_t seq) override;
    bool RemoveEffect(int32_t track, int16_t seq) override;
    bool RemoveTransition(int32_t track, int16_t seq) override;
    bool IsVideoTrack(int32_t track) override;
    bool GetSourceTimes(int32_t track, int16_t seq, int32_t& start, int32_t& stop) override;
    bool GetEffectTimes(int32_t track, int16_t seq, int32_t& start, int32_t& stop) override;
    bool GetTransitionTimes(int32_t track, int16_t seq, int32_t& start, int32_t& stop) override;
    bool SetSourceTimes(int32_t track, int16_t seq, int32_t start, int32_t stop) override;
    bool SetEffectTimes(int32_t track, int16_t seq, int32_t start, int32_t stop) override;
    bool SetTransitionTimes(int32_t track, int16_t seq, int32_t start, int32_t stop) override;
    bool GetSourceMediaTimes(int32_t track, int16_t seq, int32_t& mediaStart, int32_t& mediaStop) override;
    bool SetSourceMediaTimes(int32_t track, int16_t seq, int32_t mediaStart, int32_t mediaStop) override;
    int16_t GetSourceCount(int32_t track) override;
    int16_t GetEffectCount(int32_t track) override;
    int16_t GetTransitionCount(int32_t track) override;
    int32_t GetSourceStream(int32_t track, int16_t seq) override;
    QString GetEffectName(int32_t track, int16_t seq, int32_t size) override;
    QString GetTransitionName(int32_t track, int16_t seq, int32_t size) override;
    int32_t GetTrackDuration(int32_t track) override;
    bool GetTrackLink(int32_t track) override;
    bool IsSourceSelected(int32_t track, int16_t seq) override;
    bool IsEffectItemSelected(int32_t track, int16_t seq) override;
    void SetSourceSelected(int32_t track, int16_t seq, bool selected) override;
    void SetEffectSelected(int32_t track, int16_t seq, bool selected) override;
    void SetTransitionSelected(int32_t track, int16_t seq, bool selected) override;
    void SetTrackLink(int32_t track, bool linked) override;
    bool ShiftSources(int32_t track, int16_t fromSeq, int32_t delta) override;
    bool ShiftEffects(int32_t track, int16_t fromSeq, int32_t delta) override;
    bool ShiftTransitions(int32_t track, int16_t fromSeq, int32_t delta) override;
    void SetEffectsEnabled(bool enabled) override;
    void SetTrackDisabled(int32_t track, bool disabled) override;
    void SetFrameSize(int16_t width, int16_t height) override;
    void SetSourceStretchMode(int32_t track, int16_t seq, int16_t mode) override;
    int16_t GetSourceStretchMode(int32_t track, int16_t seq) override;

    // ITWKeyTransition
    bool SetKeyColor(int32_t track, int16_t seq, int16_t red, int16_t green, int16_t blue) override;
    int16_t GetKeyRed(int32_t track, int16_t seq) override;
    int16_t GetKeyGreen(int32_t track, int16_t seq) override;
    int16_t GetKeyBlue(int32_t track, int16_t seq) override;
    bool SetKeyParameter(int32_t track, int16_t seq, const QString& name, int32_t value) override;
    void ClearKeyParameters(int32_t track, int16_t seq) override;

    // ITWMediaFiles
    int32_t OpenStream(int32_t file, int16_t index) override;
    bool CloseStream(int32_t stream) override;
    bool SelectStream(int32_t stream) override;
    int32_t GetStreamFile(int32_t stream) override;
    bool IsVideoStream(int32_t stream) override;

    // ITWStreamInfo
    bool IsVideo() override;
    bool IsAudio() override;
    void GetVideoSize(int32_t& height, int32_t& width) override;
    int32_t GetAudioSampleRate() override;
    double GetDuration() override;
    double GetFrameRate() override;
    void OpenFileInfo(const QString& path, int32_t flags) override;
    int32_t GetStreamCount() override;

    // The players answer for their interfaces through parts of their own.
    ITWObject* QueryInterface(const std::type_info& interface) override;

    // For the engine's own renderers.
    const Tarnwick::TimelineModel& Model() const { return m_model; }
    // The file and facts behind a stream that sources may name: open, or closed since
    // (a stored timeline can still bring its sources back). Null facts for none.
    const Tarnwick::StreamFacts* TimelineFacts(int32_t stream) const;
    QString StreamPath(int32_t stream) const;
    // The timeline's picture at a time, as the graph renders it at the frame size.
    QImage RenderFrame(int32_t ms);
    // The timeline's mixed sound from a time for a length: 48 kHz stereo, interleaved.
    std::vector<int16_t> RenderSound(int32_t fromMs, int32_t lengthMs);
    // The whole timeline written to a movie file as the graph renders it.
    bool RenderMovie(const Tarnwick::EncodeSettings& settings, const Tarnwick::EncodeProgress& progress, QString* error);
    // Looks a stream up for the graph.
    Tarnwick::StreamSource Source(int32_t stream) const;
    // The graph of the timeline as it stands, on profile; cut from cache's files when given.
    std::unique_ptr<Mlt::Tractor> BuildGraph(Mlt::Profile& profile, Tarnwick::ProducerCache* cache = nullptr) const;

private:
    // A fresh graph on profile, set to the timeline's frame size.
    std::unique_ptr<Mlt::Tractor> GraphAtFrameSize(Mlt::Profile& profile) const;

    struct FileRecord
    {
        QString path;
        Tarnwick::MediaFacts facts;
        bool open = true; // false once closed while streams are still open
    };
    struct StreamRecord
    {
        int32_t file = 0;
        int index = 0; // among the file's video and audio streams
    };

    int32_t NewHandle() { return m_nextHandle++; }
    const Tarnwick::StreamFacts* Facts(int32_t stream) const;
    const Tarnwick::StreamFacts* SelectedFacts() const { return Facts(m_selectedStream); }
    void DropFileIfDone(int32_t file);
    Tarnwick::TransitionItem* Transition(int32_t track, int16_t seq);
    bool StreamFits(const Tarnwick::Track& track, int32_t stream) const;

    Tarnwick::TimelineModel m_model;
    std::map<int32_t, FileRecord> m_files;
    std::map<int32_t, StreamRecord> m_streams;
    std::map<int32_t, QString> m_stillSources; // stills held for the take-snap dialogue
    // Streams closed since they were opened: the timeline may still place them.
    struct RetiredStream
    {
        QString path;
        Tarnwick::StreamFacts facts;
    };
    std::map<int32_t, RetiredStream> m_retiredStreams;
    int32_t m_selectedStream = 0;
    Tarnwick::MediaFacts m_fileInfo; // the file named by OpenFileInfo
    int32_t m_nextHandle = 1;
    std::unique_ptr<TarnwickFilePreview> m_filePreview;
    std::unique_ptr<TarnwickPreview> m_preview;
};
