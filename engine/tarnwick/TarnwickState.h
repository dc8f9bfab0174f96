#pragma once

#include "engine/tarnwick/MediaProbe.h"
#include "engine/tarnwick/TimelineGraph.h"
#include "engine/tarnwick/TimelineModel.h"

#include <QString>

#include <cstdint>
#include <map>

// What the parts of the engine object share: the timeline, the files and streams open
// by handle, and the one handle counter for all of them. The engine object owns it;
// each part holds it by reference.
struct TarnwickState
{
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
    // A stream closed since it was opened: the timeline may still place it.
    struct RetiredStream
    {
        QString path;
        Tarnwick::StreamFacts facts;
        int index = 0; // among the file's video and audio streams, as it was
    };

    Tarnwick::TimelineModel model;
    std::map<int32_t, FileRecord> files;
    std::map<int32_t, StreamRecord> streams;
    std::map<int32_t, RetiredStream> retiredStreams;
    std::map<int32_t, QString> stillSources; // stills held for the take-snap dialogue
    int32_t selectedStream = 0;              // the subject of ITWStreamInfo
    Tarnwick::MediaFacts fileInfo;           // the file named by OpenFileInfo
    int32_t nextHandle = 1;

    // Files, streams and tracks share one counter, so no two handles are alike.
    int32_t NewHandle() { return nextHandle++; }
    // The facts of an open stream; null for none.
    const Tarnwick::StreamFacts* Facts(int32_t stream) const;
    // The facts and path of a stream that sources may name: open, or closed since (a
    // stored timeline can still bring its sources back). Null facts, an empty path, for
    // none.
    const Tarnwick::StreamFacts* TimelineFacts(int32_t stream) const;
    QString StreamPath(int32_t stream) const;
    // A stream as the graph looks it up.
    Tarnwick::StreamSource Source(int32_t stream) const;
    // The first stream handle still open on the file; 0 when none is left.
    int32_t FirstStream(int32_t file) const;
    // Forgets a closed file once its last stream is closed.
    void DropFileIfDone(int32_t file);
};

namespace Tarnwick {

// A text as an engine buffer of size characters holds it.
inline QString CutToBuffer(const QString& text, int32_t size)
{
    return size <= 0 ? QString() : text.left(size);
}

} // namespace Tarnwick
