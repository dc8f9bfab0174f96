#pragma once

#include "core/QmSpan.h"

#include <QList>
#include <QString>

#include <cstdint>

// A plain copy of the timeline, item by item, as the engine's getters give it.
struct SourceImage
{
    int32_t Start = 0;
    int32_t Stop = 0;
    int32_t MediaStart = 0;
    int32_t MediaStop = 0;
    int32_t Stream = 0;
    int32_t Track = 0;
    int16_t Seq = 0;
    int16_t StretchMode = 0;
    // Its times as the edits pass them around.
    QmSpan Span() const { return {Start, Stop, MediaStart, MediaStop}; }
    bool operator==(const SourceImage&) const = default;
};

struct EffectImage
{
    int32_t Track = 0;
    int32_t Start = 0;
    int32_t Stop = 0;
    QString Name;
    bool operator==(const EffectImage&) const = default;
};

struct TransitionImage
{
    int32_t Track = 0;
    int32_t Start = 0;
    int32_t Stop = 0;
    int16_t KeyRed = 0;
    int16_t KeyGreen = 0;
    int16_t KeyBlue = 0;
    QString Name;
    bool operator==(const TransitionImage&) const = default;
};

// The timeline as an image holds it: the sources of the video and audio tracks, track by
// track; the video track's effects; the overlay's sources, each with the key transition
// of its place.
struct TimelineImage
{
    QList<SourceImage> sources;
    QList<EffectImage> effects;
    QList<TransitionImage> transitions;
    QList<SourceImage> overlays;
    bool operator==(const TimelineImage&) const = default;
};

// Kept for file operations; nothing fills it, and it is carried along.
struct FileOperationData
{
};

// One entry of the history: the timeline as it stood just before an operation, and the
// operation's type. The data operations copy from and to the working arrays of
// ModuleHistory, as many items as the entry's counts, which are set first.
class cHistoryData
{
public:
    void SetOperationType(const QString& type) { m_operationType = type; }
    void SetEditOperationData();
    void SetFileOperationData();
    void SetEffectOperationData();
    void SetTransitionOperationData();
    void SetScrollValue(int32_t value) { m_scrollValue = value; }
    int32_t GetScrollValue() const { return m_scrollValue; }
    void GetEditOperationData() const;
    void GetEffectOperationData() const;
    void GetTransitionOperationData() const;
    void GetFileOperationData() const;
    QString GetOperationType() const { return m_operationType; }
    void SetSrcCount(int16_t n) { m_sourceCount = n; }
    int16_t GetSrcCount() const { return m_sourceCount; }
    void SetEffectCount(int16_t n) { m_effectCount = n; }
    int16_t GetEffectCount() const { return m_effectCount; }
    void SetTransitionCount(int16_t n) { m_transitionCount = n; }
    int16_t GetTransitionCount() const { return m_transitionCount; }

private:
    QString m_operationType;
    FileOperationData m_fileOperationData;
    QList<SourceImage> m_editOperationData;
    QList<EffectImage> m_effectOperationData;
    QList<TransitionImage> m_transitionOperationData;
    QList<SourceImage> m_overlaySourceData;
    int16_t m_sourceCount = 0;
    int16_t m_effectCount = 0;
    int16_t m_transitionCount = 0;
    int32_t m_scrollValue = 0;
};
