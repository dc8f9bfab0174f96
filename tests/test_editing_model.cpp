// The timeline's cut, copy, delete, crop and paste, the whole-track commands (pack,
// restore size, repeat audio, split, the three clears) and the timeline list's shuffles
// and moves between the sound tracks, run at random against a small reference model of
// what each must do. Every step makes or changes a timeline through
// the engine (sources with gaps, touching, stretched; effects; overlays with their key
// transitions), sets selected flags, locks, links and sliders at random, runs one
// command through the menus (or the routine itself where the menus do not offer it),
// and compares the whole timeline and the three clipboard lists with the model's. Each
// step is also held to the timeline's own consistency, read through the engine's
// interfaces; and at the end the history the menu commands made is undone and redone in
// full, image for image. The timeline list, brought up to date after each step, must
// read as one made afresh.
//
// The model keeps the four tracks exactly as the engine keeps them (plain lists in the
// caller's order) and performs the routines step by step as Quillmont's edit, track and
// list modules are meant to, engine call for engine call. The messages a command
// shows (a lock's, the question before clearing everything) are the model's too.
//
// QM_EDIT_MODEL_SEED and QM_EDIT_MODEL_STEPS choose another run;
// QM_EDIT_MODEL_KEEP_GOING=1 reports every step that differs instead of stopping at the
// first one; QM_EDIT_MODEL_TRACE=1 prints how often each case of the routines came up.
#include "QmTestSupport.h"

#include "core/QmImageBox.h"
#include "core/QmNumbers.h"
#include "core/QmShared.h"
#include "core/QmSpan.h"
#include "editing/moduleEdit.h"
#include "engine/CreateObject.h"
#include "engine/ITWCoreRoot.h"
#include "engine/ITWKeyTransition.h"
#include "engine/ITWMediaFiles.h"
#include "engine/ITWStreamInfo.h"
#include "engine/ITWTimeline.h"
#include "engine/tarnwick/TarnwickTimeline.h"
#include "history/ModuleHistory.h"
#include "media/moduleTarnwick.h"
#include "shell/mdiTarnwick.h"
#include "timeline/ModuleTreeView.h"
#include "timeline/TimelineView.h"
#include "timeline/frmTimeline.h"
#include "timeline/moduleScaleRenderer.h"
#include "timeline/moduleTimeline.h"

#include <QAction>
#include <QCheckBox>
#include <QElapsedTimer>
#include <QScrollBar>
#include <QTreeWidget>

#include <algorithm>
#include <array>
#include <cmath>
#include <random>
#include <set>
#include <vector>

using namespace QmShared;
using moduleEdit::EffectClip;
using moduleEdit::SourceClip;
using moduleEdit::TransitionClip;

namespace {

// ------------------------------------------------------------------------------------
// The state the commands read and write.

// A source as the engine keeps it in a track's list. Not the history's SourceImage: its
// track and number are where it lies in the lanes, and it has a selected flag.
struct Src : QmSpan
{
    int32_t stream = 0;
    int16_t mode = 0;
    bool selected = false;
};

struct Fx
{
    QString name;
    int32_t start = 0;
    int32_t stop = 0;
    bool selected = false;
};

struct Key
{
    QString name;
    int32_t start = 0;
    int32_t stop = 0;
    bool selected = false;
    int16_t red = 0;
    int16_t green = 0;
    int16_t blue = 0;
    std::vector<std::pair<QString, int32_t>> params;
};

struct Lane
{
    int32_t handle = 0;
    bool isVideo = false;
    bool linked = false;
    std::vector<Src> sources;
    std::vector<Fx> effects;
    std::vector<Key> transitions;
};

// The option boxes of the rows that the commands read.
struct Boxes
{
    bool lockVideo = false;
    bool lockAudio1 = false;
    bool lockAudio2 = false;
    bool lockOverlay = false;
    bool lockEffect = false;
    bool linkEffect = true;
};

struct Clipboard
{
    QList<SourceClip> sources;
    QList<EffectClip> effects;
    QList<TransitionClip> transitions;
};

enum class Command {
    Cut, Copy, Delete, Crop, CropSources, Paste,
    Pack, Restore, Repeat, Split, ClearEffects, ClearOverlay, ClearTimeline, Shuffle, ToAudio1, ToAudio2
};

// The command's menu entry; a shuffle is a drop on the timeline list, named as such.
const char* MenuName(Command c)
{
    switch (c) {
    case Command::Cut: return "mnuEditCut";
    case Command::Copy: return "mnuEditCopy";
    case Command::Delete: return "mnuEditClear";
    case Command::Crop: return "mnuEditCrop";
    case Command::CropSources: return "mnuEditCropSources";
    case Command::Paste: return "mnuEditPaste";
    case Command::Pack: return "mnuToolsPackTimelineBars";
    case Command::Restore: return "mnuEditRestoreSize";
    case Command::Repeat: return "mnuToolsRepeatAudio";
    case Command::Split: return "mnuToolsSplitTimeline";
    case Command::ClearEffects: return "mnuEditClearEffect";
    case Command::ClearOverlay: return "mnuEditClearOverlay";
    case Command::ClearTimeline: return "mnuEditClearTimeline";
    case Command::Shuffle: return "tvwTimeline drop";
    case Command::ToAudio1: return "mnuEditAddtoAudio1";
    case Command::ToAudio2: return "mnuEditAddtoAudio2";
    }
    return "";
}

// The commands of cut, copy, delete, crop and paste, which have a selection form and a
// clipboard.
bool IsEdit(Command c)
{
    return c <= Command::Paste;
}

// The timeline list's nodes as the drop names them: track node lane (0 Video, 1 Effects,
// 2 Overlays, 3 Audio 1, 4 Audio 2), and place from 1 among its children, 0 for the
// track node itself.
struct ListDrop
{
    int dragLane = 0;
    int dragPlace = 1;
    int dropLane = 0;
    int dropPlace = 1;
};

// What a step hands to the command, read from the program just before it runs.
struct Inputs
{
    Command command = Command::Cut;
    bool startShown = false;
    bool endShown = false;
    int32_t a = 0;        // selection start, as the commands take it
    int32_t b = 0;        // selection end
    int32_t position = 0; // the position slider
    Boxes boxes;
    bool throughMenu = false; // the menu's handler runs, not the routine alone
    bool answerYes = true;    // to "Are you sure you want to clear the timeline?"
    ListDrop drop;            // a shuffle's nodes
};

// The model met something Quillmont leaves to the error trap (a rate with a zero
// length); such a step is not compared.
struct Undefined
{
    QString why;
};

// How often each case of the routines came up in a run, to see that the random
// timelines reach them.
QMap<QString, int>& Hits()
{
    static QMap<QString, int> hits;
    return hits;
}

void Hit(const QString& what)
{
    ++Hits()[what];
}

int32_t RoundEven(double x)
{
    if (x - std::floor(x) == 0.5)
        Hit(QStringLiteral("rounding tie"));
    return static_cast<int32_t>(std::nearbyint(x));
}

// ------------------------------------------------------------------------------------
// The reference: the engine's list store, and the edit routines on top of it.

class Reference
{
public:
    Reference(std::array<Lane, 4> lanes, Clipboard clipboard, Inputs in, const QHash<int32_t, bool>& streamIsVideo,
              const QHash<int32_t, int32_t>& streamLength)
        : lanes(std::move(lanes))
        , clip(std::move(clipboard))
        , startShown(in.startShown)
        , endShown(in.endShown)
        , m_in(in)
        , m_kinds(streamIsVideo)
        , m_lengths(streamLength)
    {
    }

    std::array<Lane, 4> lanes; // Video, Audio 1, Audio 2, Overlay
    Clipboard clip;
    bool startShown; // the selection sliders after the command
    bool endShown;
    QStringList messages; // the texts of the message boxes the command shows

    void Run()
    {
        // The handlers of cut, copy, delete and crop do nothing on an empty timeline.
        if (m_in.throughMenu && IsEdit(m_in.command) && m_in.command != Command::Paste && IsTimelineEmpty()) {
            Hit(QStringLiteral("menu handler skips an empty timeline"));
            return;
        }
        switch (m_in.command) {
        case Command::Cut: Frame(moduleEdit::ModeCut); break;
        case Command::Copy: Frame(moduleEdit::ModeCopy); break;
        case Command::Delete: Frame(moduleEdit::ModeDelete); break;
        case Command::Crop: m_cropSourcesOnly = false; Frame(moduleEdit::ModeCrop); break;
        case Command::CropSources: m_cropSourcesOnly = true; Frame(moduleEdit::ModeCrop); break;
        case Command::Paste: EditPaste(); break;
        case Command::Pack: PackTracks(); break;
        case Command::Restore: RestoreSize(); break;
        case Command::Repeat: RepeateAudio(); break;
        case Command::Split: SplitTracks(); break;
        case Command::ClearEffects: ClearEffects(); break;
        case Command::ClearOverlay: ClearOverlay(); break;
        case Command::ClearTimeline: ClearTimeline(); break;
        case Command::Shuffle: Drop(); break;
        case Command::ToAudio1: ChangeTrack(A2(), A1(), GetSourceCount(A1()) + 1); break;
        case Command::ToAudio2: ChangeTrack(A1(), A2(), GetSourceCount(A2()) + 1); break;
        }
    }

private:
    Inputs m_in;
    QHash<int32_t, bool> m_kinds;
    QHash<int32_t, int32_t> m_lengths;
    bool m_cropSourcesOnly = false;
    // The walk's state.
    int16_t m_walkSeq = 0;
    int16_t m_clipSeq = 0;
    int16_t m_transitionClipSeq = 0;
    int32_t m_prevStart = 0;
    int32_t m_prevStop = 0;

    int32_t V() const { return lanes[0].handle; }
    int32_t A1() const { return lanes[1].handle; }
    int32_t A2() const { return lanes[2].handle; }
    int32_t O() const { return lanes[3].handle; }
    std::array<int32_t, 3> Collection() const { return {V(), A1(), A2()}; }

    // ---- the engine, a plain list store

    Lane& L(int32_t h)
    {
        for (Lane& lane : lanes)
            if (lane.handle == h)
                return lane;
        throw Undefined{QStringLiteral("no track %1").arg(h)};
    }
    template <class I>
    static bool Has(const std::vector<I>& v, int seq)
    {
        return seq >= 0 && static_cast<size_t>(seq) < v.size();
    }
    template <class I>
    static bool InsertAt(std::vector<I>& v, int seq, I item)
    {
        if (seq < 0 || static_cast<size_t>(seq) > v.size())
            return false;
        v.insert(v.begin() + seq, std::move(item));
        return true;
    }
    template <class I>
    static bool RemoveAt(std::vector<I>& v, int seq)
    {
        if (!Has(v, seq))
            return false;
        v.erase(v.begin() + seq);
        return true;
    }
    template <class I>
    static bool ShiftFrom(std::vector<I>& v, int from, int32_t delta)
    {
        if (from < 0 || static_cast<size_t>(from) > v.size())
            return false;
        for (size_t i = static_cast<size_t>(from); i < v.size(); ++i) {
            v[i].start += delta;
            v[i].stop += delta;
        }
        return true;
    }
    template <class I>
    static bool TimesOf(const std::vector<I>& v, int seq, int32_t& s, int32_t& e)
    {
        if (!Has(v, seq))
            return false;
        s = v[static_cast<size_t>(seq)].start;
        e = v[static_cast<size_t>(seq)].stop;
        return true;
    }
    template <class I>
    static bool SetTimesOf(std::vector<I>& v, int seq, int32_t s, int32_t e)
    {
        if (!Has(v, seq))
            return false;
        v[static_cast<size_t>(seq)].start = s;
        v[static_cast<size_t>(seq)].stop = e;
        return true;
    }

    bool InsertSource(int32_t h, int32_t stream, int seq, int32_t start, int32_t stop)
    {
        Lane& lane = L(h);
        if (!m_kinds.contains(stream) || m_kinds.value(stream) != lane.isVideo)
            return false;
        Src s;
        s.stream = stream;
        s.start = start;
        s.stop = stop;
        if (stop != 0)
            s.mediaStop = std::max(0, stop - start);
        return InsertAt(lane.sources, seq, s);
    }
    // The whole stream as a new last source from start.
    bool AppendSource(int32_t h, int32_t stream, int32_t start)
    {
        return InsertSource(h, stream, GetSourceCount(h), start, start + m_lengths.value(stream));
    }
    bool InsertEffect(int32_t h, const QString& name, int seq, int32_t start, int32_t stop)
    {
        Lane& lane = L(h);
        if (!lane.isVideo)
            return false;
        return InsertAt(lane.effects, seq, Fx{name.left(Tarnwick::MaxEffectName), start, stop, false});
    }
    bool InsertTransition(int32_t h, const QString& name, int seq, int32_t start, int32_t stop)
    {
        Key k;
        k.name = name;
        k.start = start;
        k.stop = stop;
        return InsertAt(L(h).transitions, seq, k);
    }
    bool RemoveSource(int32_t h, int seq) { return RemoveAt(L(h).sources, seq); }
    bool RemoveEffect(int32_t h, int seq) { return RemoveAt(L(h).effects, seq); }
    bool RemoveTransition(int32_t h, int seq) { return RemoveAt(L(h).transitions, seq); }
    bool IsVideoTrack(int32_t h) { return L(h).isVideo; }
    bool GetSourceTimes(int32_t h, int seq, int32_t& s, int32_t& e) { return TimesOf(L(h).sources, seq, s, e); }
    bool GetEffectTimes(int32_t h, int seq, int32_t& s, int32_t& e) { return TimesOf(L(h).effects, seq, s, e); }
    bool GetTransitionTimes(int32_t h, int seq, int32_t& s, int32_t& e) { return TimesOf(L(h).transitions, seq, s, e); }
    bool SetSourceTimes(int32_t h, int seq, int32_t s, int32_t e) { return SetTimesOf(L(h).sources, seq, s, e); }
    bool SetEffectTimes(int32_t h, int seq, int32_t s, int32_t e) { return SetTimesOf(L(h).effects, seq, s, e); }
    bool SetTransitionTimes(int32_t h, int seq, int32_t s, int32_t e) { return SetTimesOf(L(h).transitions, seq, s, e); }
    bool GetSourceMediaTimes(int32_t h, int seq, int32_t& ms, int32_t& me)
    {
        Lane& lane = L(h);
        if (!Has(lane.sources, seq))
            return false;
        ms = lane.sources[static_cast<size_t>(seq)].mediaStart;
        me = lane.sources[static_cast<size_t>(seq)].mediaStop;
        return true;
    }
    bool SetSourceMediaTimes(int32_t h, int seq, int32_t ms, int32_t me)
    {
        Lane& lane = L(h);
        if (!Has(lane.sources, seq))
            return false;
        lane.sources[static_cast<size_t>(seq)].mediaStart = ms;
        lane.sources[static_cast<size_t>(seq)].mediaStop = me;
        return true;
    }
    int GetSourceCount(int32_t h) { return static_cast<int>(L(h).sources.size()); }
    int GetEffectCount(int32_t h) { return static_cast<int>(L(h).effects.size()); }
    int GetTransitionCount(int32_t h) { return static_cast<int>(L(h).transitions.size()); }
    int32_t GetSourceStream(int32_t h, int seq)
    {
        Lane& lane = L(h);
        return Has(lane.sources, seq) ? lane.sources[static_cast<size_t>(seq)].stream : 0;
    }
    QString GetEffectName(int32_t h, int seq, int size)
    {
        Lane& lane = L(h);
        return Has(lane.effects, seq) ? lane.effects[static_cast<size_t>(seq)].name.left(size) : QString();
    }
    QString GetTransitionName(int32_t h, int seq, int size)
    {
        Lane& lane = L(h);
        return Has(lane.transitions, seq) ? lane.transitions[static_cast<size_t>(seq)].name.left(size) : QString();
    }
    bool GetTrackLink(int32_t h) { return L(h).linked; }
    bool IsSourceSelected(int32_t h, int seq)
    {
        Lane& lane = L(h);
        return Has(lane.sources, seq) && lane.sources[static_cast<size_t>(seq)].selected;
    }
    bool IsEffectItemSelected(int32_t h, int seq)
    {
        Lane& lane = L(h);
        return Has(lane.effects, seq) && lane.effects[static_cast<size_t>(seq)].selected;
    }
    bool ShiftSources(int32_t h, int from, int32_t delta) { return ShiftFrom(L(h).sources, from, delta); }
    bool ShiftEffects(int32_t h, int from, int32_t delta) { return ShiftFrom(L(h).effects, from, delta); }
    bool ShiftTransitions(int32_t h, int from, int32_t delta) { return ShiftFrom(L(h).transitions, from, delta); }
    void SetSourceStretchMode(int32_t h, int seq, int16_t mode)
    {
        Lane& lane = L(h);
        if (Has(lane.sources, seq))
            lane.sources[static_cast<size_t>(seq)].mode = mode;
    }
    int16_t GetSourceStretchMode(int32_t h, int seq)
    {
        Lane& lane = L(h);
        return Has(lane.sources, seq) ? lane.sources[static_cast<size_t>(seq)].mode : int16_t(0);
    }
    Key* KeyAt(int32_t h, int seq)
    {
        Lane& lane = L(h);
        return Has(lane.transitions, seq) ? &lane.transitions[static_cast<size_t>(seq)] : nullptr;
    }
    bool SetKeyColor(int32_t h, int seq, int16_t r, int16_t g, int16_t b)
    {
        Key* k = KeyAt(h, seq);
        if (!k)
            return false;
        k->red = r;
        k->green = g;
        k->blue = b;
        return true;
    }
    int16_t GetKeyRed(int32_t h, int seq) { Key* k = KeyAt(h, seq); return k ? k->red : int16_t(0); }
    int16_t GetKeyGreen(int32_t h, int seq) { Key* k = KeyAt(h, seq); return k ? k->green : int16_t(0); }
    int16_t GetKeyBlue(int32_t h, int seq) { Key* k = KeyAt(h, seq); return k ? k->blue : int16_t(0); }
    bool SetKeyParameter(int32_t h, int seq, const QString& name, int32_t value)
    {
        Key* k = KeyAt(h, seq);
        if (!k || name.isEmpty())
            return false;
        for (auto& [key, current] : k->params) {
            if (key.compare(name, Qt::CaseInsensitive) == 0) {
                current = value;
                return true;
            }
        }
        k->params.emplace_back(name, value);
        return true;
    }
    void ClearKeyParameters(int32_t h, int seq)
    {
        if (Key* k = KeyAt(h, seq)) {
            k->params.clear();
            k->red = k->green = k->blue = 0;
        }
    }
    void ApplyTransitionKey(int32_t h, int seq, int16_t r, int16_t g, int16_t b)
    {
        ClearKeyParameters(h, seq);
        SetKeyParameter(h, seq, QStringLiteral("KeyType"), 0);
        SetKeyColor(h, seq, r, g, b);
    }

    // ---- the rows' option boxes

    bool IsTrackLocked(int32_t h) const
    {
        if (h == V())
            return m_in.boxes.lockVideo;
        if (h == A1())
            return m_in.boxes.lockAudio1;
        if (h == A2())
            return m_in.boxes.lockAudio2;
        if (h == O())
            return m_in.boxes.lockOverlay;
        return false;
    }
    bool IsEffectLocked(int32_t h) const { return h == V() && m_in.boxes.lockEffect; }
    bool IsEffectSelected(int32_t h) const { return h == V() && m_in.boxes.linkEffect; }
    bool IsTimelineEmpty() const
    {
        return std::all_of(lanes.begin(), lanes.end(), [](const Lane& l) { return l.sources.empty(); });
    }
    bool IsAnySourceSelected(int32_t h)
    {
        if (IsTimelineEmpty())
            return false;
        const auto& v = L(h).sources;
        return std::any_of(v.begin(), v.end(), [](const Src& s) { return s.selected; });
    }
    bool IsAnyEffectSelected(int32_t h)
    {
        if (h != V() || IsTimelineEmpty())
            return false;
        const auto& v = L(h).effects;
        return std::any_of(v.begin(), v.end(), [](const Fx& f) { return f.selected; });
    }

    // ---- the clipboard

    void AddSourceClip(int32_t track, int32_t stream, int32_t ms, int32_t me, int16_t seq, int32_t length, int16_t mode)
    {
        SourceClip c;
        c.Track = track;
        c.Stream = stream;
        c.MediaStart = ms;
        c.MediaStop = me;
        c.Seq = seq;
        c.Length = length;
        c.StretchMode = mode;
        clip.sources.append(c);
    }
    void AddEffectClip(int32_t track, const QString& name, int32_t length, int16_t seq)
    {
        EffectClip c;
        c.Track = track;
        c.Name = name;
        c.Length = length;
        c.Seq = seq;
        clip.effects.append(c);
    }
    void AddTransitionClip(int32_t track, const QString& name, int32_t length, int16_t r, int16_t g, int16_t b,
                           int16_t seq)
    {
        TransitionClip c;
        c.Track = track;
        c.Name = name;
        c.Length = length;
        c.KeyRed = r;
        c.KeyGreen = g;
        c.KeyBlue = b;
        c.Seq = seq;
        clip.transitions.append(c);
    }
    template <class C>
    static int LastOf(const QList<C>& list, int32_t track)
    {
        for (int i = static_cast<int>(list.size()) - 1; i >= 0; --i)
            if (list[i].Track == track)
                return i;
        return -1;
    }

    // ---- the rate of a source and the media times at the selection's edges

    static double Rate(const QmSpan& item)
    {
        const int32_t s = item.start, e = item.stop, ms = item.mediaStart, me = item.mediaStop;
        if (me - ms <= 0 || e - s == 0)
            throw Undefined{QStringLiteral("rate of a source with timeline %1-%2, media %3-%4").arg(s).arg(e).arg(ms).arg(me)};
        return static_cast<double>(e - s) / static_cast<double>(me - ms);
    }

    // ---- the command frame

    void Frame(int16_t mode)
    {
        if (mode == moduleEdit::ModeCut || mode == moduleEdit::ModeCopy)
            clip = Clipboard{};
        bool result;
        if (m_in.startShown && m_in.endShown) {
            result = EditSelection(mode);
        } else {
            WholeSources(mode);
            WholeEffects(mode);
            result = WholeOverlay(mode);
        }
        if (result && mode != moduleEdit::ModeCopy)
            EmptyEffectsOfBareTracks();
    }

    void EmptyEffectsOfBareTracks()
    {
        if (GetSourceCount(V()) == 0 && GetEffectCount(V()) != 0) {
            Hit(QStringLiteral("effects emptied with the video track"));
            while (RemoveEffect(V(), 0)) {
            }
        }
    }

    // ---- the whole-item forms
    //
    // The run counter rises with every record, in copy as well, so that a run's first
    // record is always found from its last.

    void WholeSources(int16_t mode)
    {
        for (int32_t h : Collection()) {
            if (mode == moduleEdit::ModeCrop) {
                if (!IsAnySourceSelected(h))
                    continue;
                for (int seq = 0; seq < GetSourceCount(h);) {
                    if (IsSourceSelected(h, seq)) {
                        ++seq;
                        continue;
                    }
                    if (IsTrackLocked(h)) {
                        Hit(QStringLiteral("whole-item crop stops at a locked track"));
                        break;
                    }
                    RemoveSource(h, seq);
                }
                continue;
            }
            int16_t run = 0;
            int count = GetSourceCount(h);
            for (int seq = 0; seq <= count - 1; ++seq) {
                if (!IsSourceSelected(h, seq))
                    continue;
                if (IsTrackLocked(h)) {
                    Hit(QStringLiteral("whole-item walk stops at a locked track"));
                    break;
                }
                Hit(QStringLiteral("whole-item source, mode %1").arg(mode));
                if (mode != moduleEdit::ModeDelete) {
                    int32_t ms = 0, me = 0, s = 0, e = 0;
                    GetSourceMediaTimes(h, seq, ms, me);
                    GetSourceTimes(h, seq, s, e);
                    AddSourceClip(h, GetSourceStream(h, seq), ms, me, run, e - s, GetSourceStretchMode(h, seq));
                }
                if (mode != moduleEdit::ModeCopy) {
                    RemoveSource(h, seq);
                    --seq;
                    --count;
                }
                ++run;
            }
        }
    }

    void WholeEffects(int16_t mode)
    {
        for (int32_t h : Collection()) {
            if (mode == moduleEdit::ModeCrop) {
                if (!IsAnyEffectSelected(h))
                    continue;
                for (int seq = 0; seq < GetEffectCount(h);) {
                    if (IsEffectItemSelected(h, seq)) {
                        ++seq;
                        continue;
                    }
                    if (IsEffectLocked(h))
                        break;
                    RemoveEffect(h, seq);
                }
                continue;
            }
            int16_t run = 0;
            int count = GetEffectCount(h);
            for (int seq = 0; seq <= count - 1; ++seq) {
                if (!IsEffectItemSelected(h, seq))
                    continue;
                if (IsEffectLocked(h))
                    break;
                if (mode != moduleEdit::ModeDelete) {
                    int32_t s = 0, e = 0;
                    GetEffectTimes(h, seq, s, e);
                    AddEffectClip(h, GetEffectName(h, seq, 10), e - s, run);
                }
                if (mode != moduleEdit::ModeCopy) {
                    RemoveEffect(h, seq);
                    --seq;
                    --count;
                }
                ++run;
            }
        }
    }

    bool WholeOverlay(int16_t mode)
    {
        const int32_t h = O();
        if (mode == moduleEdit::ModeCrop) {
            if (!IsAnySourceSelected(h))
                return true;
            for (int seq = 0; seq < GetSourceCount(h);) {
                if (IsSourceSelected(h, seq)) {
                    ++seq;
                    continue;
                }
                if (IsTrackLocked(h))
                    break;
                RemoveSource(h, seq);
                RemoveTransition(h, seq);
            }
            return true;
        }
        int16_t run = 0;
        int count = GetSourceCount(h);
        for (int seq = 0; seq <= count - 1; ++seq) {
            if (!IsSourceSelected(h, seq))
                continue;
            if (IsTrackLocked(h))
                break;
            if (mode != moduleEdit::ModeDelete) {
                int32_t ms = 0, me = 0, s = 0, e = 0;
                GetSourceMediaTimes(h, seq, ms, me);
                GetSourceTimes(h, seq, s, e);
                const int32_t stream = GetSourceStream(h, seq);
                const int16_t stretch = GetSourceStretchMode(h, seq);
                const int16_t r = GetKeyRed(h, seq), g = GetKeyGreen(h, seq), b = GetKeyBlue(h, seq);
                const QString name = GetTransitionName(h, seq, 20);
                AddSourceClip(h, stream, ms, me, run, e - s, stretch);
                AddTransitionClip(h, name, e - s, r, g, b, run);
            }
            if (mode != moduleEdit::ModeCopy) {
                RemoveSource(h, seq);
                RemoveTransition(h, seq);
                --seq;
                --count;
            }
            ++run;
        }
        return true;
    }

    // ---- the selection form

    void DropOutsideSelection()
    {
        const int32_t a = m_in.a, b = m_in.b;
        auto edgeInside = [&](int32_t s, int32_t e) { return (s < a && a < e) || (s < b && b < e); };
        int index = 1;
        for (int32_t h : Collection()) {
            if (!IsTrackLocked(h) && GetTrackLink(h)) {
                int32_t s = 0, e = 0;
                for (int seq = 0; GetSourceTimes(h, seq, s, e);) {
                    if (!edgeInside(s, e) && (s < a || e > b)) {
                        Hit(QStringLiteral("crop drops a source outside"));
                        RemoveSource(h, seq);
                    }
                    else
                        ++seq;
                }
            }
            if (index <= 1 && IsEffectSelected(h) && !IsEffectLocked(h)) {
                int32_t s = 0, e = 0;
                for (int seq = 0; GetEffectTimes(h, seq, s, e);) {
                    if (!edgeInside(s, e) && (s <= a || e >= b)) {
                        Hit(QStringLiteral("crop drops an effect outside"));
                        if (s >= a && e <= b)
                            Hit(QStringLiteral("crop drops an effect on the selection's edge"));
                        RemoveEffect(h, seq);
                    }
                    else
                        ++seq;
                }
            }
            ++index;
        }
        const int32_t h = O();
        if (!IsTrackLocked(h) && GetTrackLink(h)) {
            int32_t s = 0, e = 0;
            for (int seq = 0; GetSourceTimes(h, seq, s, e);) {
                if (!edgeInside(s, e) && (s <= a || e >= b)) {
                    Hit(QStringLiteral("crop drops an overlay outside"));
                    if (s >= a && e <= b)
                        Hit(QStringLiteral("crop drops an overlay on the selection's edge"));
                    RemoveSource(h, seq);
                    RemoveTransition(h, seq);
                } else {
                    ++seq;
                }
            }
        }
    }

    bool EditSelection(int16_t mode)
    {
        if (mode == moduleEdit::ModeCrop && !m_cropSourcesOnly)
            DropOutsideSelection();
        const int32_t a = m_in.a, b = m_in.b;
        const QmSelection sel{a, b};
        bool result = true;
        auto walkSources = [&](int32_t h, bool overlay) {
            m_walkSeq = 0;
            m_clipSeq = 0;
            m_prevStart = m_prevStop = 0;
            if (overlay)
                m_transitionClipSeq = 0;
            while (true) {
                QmSpan item;
                if (!GetSourceTimes(h, m_walkSeq, item.start, item.stop))
                    break;
                GetSourceMediaTimes(h, m_walkSeq, item.mediaStart, item.mediaStop);
                if (GetTrackLink(h)) {
                    if (IsTrackLocked(h))
                        break;
                    result = SourceAction(mode, overlay, h, m_walkSeq, item, sel);
                    if (a > item.start && b < item.stop)
                        break;
                }
                ++m_walkSeq;
            }
        };
        walkSources(V(), false);
        walkSources(A1(), false);
        walkSources(A2(), false);
        {
            const int32_t h = V();
            m_walkSeq = 0;
            m_clipSeq = 0;
            m_prevStart = m_prevStop = 0;
            while (true) {
                QmSpan item;
                if (!GetEffectTimes(h, m_walkSeq, item.start, item.stop))
                    break;
                if (IsEffectSelected(h)) {
                    if (IsEffectLocked(h))
                        break;
                    result = EffectAction(mode, h, m_walkSeq, item, sel);
                    if (a > item.start && b < item.stop)
                        break;
                }
                ++m_walkSeq;
            }
        }
        walkSources(O(), true);
        startShown = endShown = false;
        if (!result)
            Hit(QStringLiteral("selection edit ends with a false flag"));
        return result;
    }

    // ---- gap logging

    enum class Kind { Source, Effect, Transition };

    void RecordGap(Kind kind, int32_t h, int32_t gap, bool trailing)
    {
        switch (kind) {
        case Kind::Source:
            AddSourceClip(h, 0, 0, gap, m_clipSeq, -1, 0);
            ++m_clipSeq;
            break;
        case Kind::Effect:
            AddEffectClip(h, QStringLiteral("0"), gap, m_clipSeq);
            ++m_clipSeq;
            break;
        case Kind::Transition:
            AddTransitionClip(h, QStringLiteral("0"), gap, 0, 0, 0, m_transitionClipSeq);
            if (trailing)
                ++m_clipSeq;
            else
                ++m_transitionClipSeq;
            break;
        }
    }

    void LogGaps(Kind kind, int32_t h, int seq, const QmSpan& item, const QmSelection& sel, bool before)
    {
        const int32_t s = item.start, e = item.stop, a = sel.start, b = sel.end;
        if (before) {
            if (seq == 0)
                return;
            const int32_t p = m_prevStop;
            if (p == s && a == p)
                return;
            int32_t gap = 0;
            if (p < a && a < s) {
                gap = s - a;
            } else if (kind == Kind::Source) {
                if (a > p)
                    return;
                if (p == s)
                    return;
                gap = s - p;
            } else {
                // Effects and transitions keep no stretch between two items that both
                // lie in the selection.
                if (a > p || a <= s)
                    return;
                if (p == s)
                    return;
                gap = s - p;
            }
            Hit(QStringLiteral("gap before, kind %1").arg(static_cast<int>(kind)));
            RecordGap(kind, h, gap, false);
            return;
        }
        // The transitions' gap logging looks at the transitions themselves, which after
        // a paste need not lie where their sources do.
        const int n = kind == Kind::Source ? GetSourceCount(h)
                      : kind == Kind::Effect ? GetEffectCount(h)
                                               : GetTransitionCount(h);
        if (seq >= n - 1 && b > e) {
            Hit(QStringLiteral("trailing gap, kind %1").arg(static_cast<int>(kind)));
            RecordGap(kind, h, b - e, true);
            return;
        }
        int32_t nextStart = 0, nextStop = 0;
        const bool ok = kind == Kind::Source ? GetSourceTimes(h, seq + 1, nextStart, nextStop)
                        : kind == Kind::Effect ? GetEffectTimes(h, seq + 1, nextStart, nextStop)
                                                 : GetTransitionTimes(h, seq + 1, nextStart, nextStop);
        if (kind == Kind::Transition && ok) {
            int32_t sourceStart = 0, sourceStop = 0;
            if (GetSourceTimes(h, seq + 1, sourceStart, sourceStop) && sourceStart != nextStart) {
                Hit(QStringLiteral("transition after the piece is not where its source is"));
                if ((e < b && b < nextStart) != (e < b && b < sourceStart))
                    Hit(QStringLiteral("transition gap hangs on which item follows"));
            }
        }
        if (ok && e < b && b < nextStart) {
            Hit(QStringLiteral("gap after, kind %1").arg(static_cast<int>(kind)));
            RecordGap(kind, h, b - e, false);
        }
    }

    // ---- one source (or overlay) against the selection
    //
    // An action returns the flag of its own last engine call, true when it made none;
    // the gap logging it calls leaves that flag alone. Only the source delete and crop
    // let a source that starts after the selection pass (s != b); the overlay ones, like
    // cut and copy, want the item to reach into the selection (s < b).

    bool SourceAction(int16_t mode, bool overlay, int32_t h, int16_t& seq, const QmSpan& item, const QmSelection& sel)
    {
        const int32_t s = item.start, e = item.stop, ms = item.mediaStart, me = item.mediaStop;
        const int32_t a = sel.start, b = sel.end;
        const bool cut = mode == moduleEdit::ModeCut;
        const bool copy = mode == moduleEdit::ModeCopy;
        const bool del = mode == moduleEdit::ModeDelete;
        const bool crop = mode == moduleEdit::ModeCrop;
        const bool pass = (!overlay && (del || crop)) ? (e > a && s != b) : (e > a && s < b);
        if (!pass)
            return true;
        if (s > b)
            Hit(QStringLiteral("mode %1 acts on a source after the selection").arg(mode));
        Hit(QStringLiteral("%1 action mode %2, case %3")
                .arg(overlay ? QStringLiteral("overlay") : QStringLiteral("source"))
                .arg(mode)
                .arg(a <= s ? (b >= e ? 0 : 1) : (b >= e ? 2 : 3)));
        bool flag = true;
        QString name;
        int16_t kr = 0, kg = 0, kb = 0;
        if (overlay) {
            name = GetTransitionName(h, seq, del ? 260 : 20);
            kr = GetKeyRed(h, seq);
            kg = GetKeyGreen(h, seq);
            kb = GetKeyBlue(h, seq);
        }
        const bool records = cut || copy;
        const bool changes = cut || del;
        int32_t stream = 0;
        int16_t stretch = 0;
        if (records || changes) {
            stream = GetSourceStream(h, seq);
            stretch = GetSourceStretchMode(h, seq);
        }
        if (records) {
            LogGaps(Kind::Source, h, seq, item, sel, true);
            if (overlay)
                LogGaps(Kind::Transition, h, seq, item, sel, true);
            m_prevStart = s;
            m_prevStop = e;
        }
        const double rate = Rate(item);
        const int32_t atB = RoundEven(static_cast<double>(me) - static_cast<double>(e - b) / rate);
        const int32_t atA = RoundEven(static_cast<double>(a - s) / rate + static_cast<double>(ms));

        if (crop) {
            int32_t ns = s, ne = e, nms = ms, nme = me;
            bool act = true;
            if (a > s && b >= e) {
                ns = a; ne = e; nms = atA; nme = me;
            } else if (a > s && b < e) {
                ns = a; ne = b; nms = atA; nme = atB;
            } else if (a <= s && b < e) {
                ns = s; ne = b; nms = ms; nme = atB;
            } else {
                act = false;
            }
            if (act) {
                SetSourceTimes(h, seq, ns, ne);
                flag = SetSourceMediaTimes(h, seq, nms, nme);
                if (overlay)
                    flag = SetTransitionTimes(h, seq, ns, ne);
            }
            return flag;
        }

        int32_t pieceStart = 0, pieceStop = 0, length = 0;
        if (a <= s && b >= e) {
            pieceStart = ms; pieceStop = me; length = e - s;
            if (changes) {
                flag = RemoveSource(h, seq);
                if (overlay)
                    flag = RemoveTransition(h, seq);
                --seq;
            }
        } else if (a <= s && b < e) {
            pieceStart = ms; pieceStop = atB; length = b - s;
            if (changes) {
                SetSourceTimes(h, seq, b, e);
                flag = SetSourceMediaTimes(h, seq, atB, me);
                if (overlay)
                    flag = SetTransitionTimes(h, seq, b, e);
            }
        } else if (a > s && b >= e) {
            pieceStart = atA; pieceStop = me; length = e - a;
            if (changes) {
                SetSourceTimes(h, seq, s, a);
                flag = SetSourceMediaTimes(h, seq, ms, atA);
                if (overlay)
                    flag = SetTransitionTimes(h, seq, s, a);
            }
        } else {
            pieceStart = atA; pieceStop = atB; length = b - a;
            if (changes) {
                InsertSource(h, stream, seq, b, 0);
                SetSourceTimes(h, seq, b, e);
                SetSourceMediaTimes(h, seq, atB, me);
                SetSourceStretchMode(h, seq, stretch);
                InsertSource(h, stream, seq, s, 0);
                SetSourceTimes(h, seq, s, a);
                SetSourceMediaTimes(h, seq, ms, atA);
                SetSourceStretchMode(h, seq, stretch);
                flag = RemoveSource(h, seq + 2);
                if (overlay) {
                    InsertTransition(h, name, seq, b, e);
                    ApplyTransitionKey(h, seq, kr, kg, kb);
                    InsertTransition(h, name, seq, s, a);
                    ApplyTransitionKey(h, seq, kr, kg, kb);
                    flag = RemoveTransition(h, seq + 2);
                }
            }
        }
        if (records) {
            AddSourceClip(h, stream, pieceStart, pieceStop, m_clipSeq, length, stretch);
            ++m_clipSeq;
            if (overlay) {
                AddTransitionClip(h, name, length, kr, kg, kb, m_transitionClipSeq);
                ++m_transitionClipSeq;
            }
            LogGaps(Kind::Source, h, seq, item, sel, false);
            if (overlay)
                LogGaps(Kind::Transition, h, seq, item, sel, false);
        }
        return flag;
    }

    bool EffectAction(int16_t mode, int32_t h, int16_t& seq, const QmSpan& item, const QmSelection& sel)
    {
        const int32_t s = item.start, e = item.stop, a = sel.start, b = sel.end;
        if (!(e > a && s < b))
            return true;
        Hit(QStringLiteral("effect action mode %1, case %2").arg(mode).arg(a <= s ? (b >= e ? 0 : 1) : (b >= e ? 2 : 3)));
        const bool cut = mode == moduleEdit::ModeCut;
        const bool copy = mode == moduleEdit::ModeCopy;
        const bool del = mode == moduleEdit::ModeDelete;
        const bool crop = mode == moduleEdit::ModeCrop;
        bool flag = true;
        if (crop) {
            if (a <= s && b >= e)
                return true;
            if (a <= s && b < e)
                return SetEffectTimes(h, seq, s, b);
            if (a > s && b >= e)
                return SetEffectTimes(h, seq, a, e);
            return SetEffectTimes(h, seq, a, b);
        }
        const QString name = GetEffectName(h, seq, cut ? 10 : 260);
        const bool records = cut || copy;
        const bool changes = cut || del;
        if (records) {
            LogGaps(Kind::Effect, h, seq, item, sel, true);
            m_prevStart = s;
            m_prevStop = e;
        }
        int32_t length = 0;
        if (a <= s && b >= e) {
            length = e - s;
            if (changes) {
                flag = RemoveEffect(h, seq);
                --seq;
            }
        } else if (a <= s && b < e) {
            length = b - s;
            if (changes)
                flag = SetEffectTimes(h, seq, b, e);
        } else if (a > s && b >= e) {
            length = e - a;
            if (changes)
                flag = SetEffectTimes(h, seq, s, a);
        } else {
            length = b - a;
            if (changes) {
                RemoveEffect(h, seq);
                InsertEffect(h, name, seq, b, e);
                flag = InsertEffect(h, name, seq, s, a);
            }
        }
        if (records) {
            AddEffectClip(h, name, length, m_clipSeq);
            ++m_clipSeq;
            LogGaps(Kind::Effect, h, seq, item, sel, false);
        }
        return flag;
    }

    // ---- the whole-track commands

    // The first item of a list that holds pos, both ends inside; -1 for none.
    template <class I>
    static int ItemAt(const std::vector<I>& v, int32_t pos)
    {
        for (size_t i = 0; i < v.size(); ++i)
            if (v[i].start <= pos && pos <= v[i].stop)
                return static_cast<int>(i);
        return -1;
    }

    // Each item, with all after it, to where the one before it ends; the first to 0.
    void PackTracks()
    {
        auto pack = [this](int32_t h, bool effects, bool transitions) {
            const int n = effects ? GetEffectCount(h) : GetSourceCount(h);
            for (int seq = 0; seq < n; ++seq) {
                int32_t s = 0, e = 0, ps = 0, pe = 0;
                effects ? GetEffectTimes(h, seq, s, e) : GetSourceTimes(h, seq, s, e);
                if (seq > 0)
                    effects ? GetEffectTimes(h, seq - 1, ps, pe) : GetSourceTimes(h, seq - 1, ps, pe);
                const int32_t delta = seq == 0 ? -s : pe - s;
                if (delta != 0)
                    Hit(QStringLiteral("pack closes a gap"));
                effects ? ShiftEffects(h, seq, delta) : ShiftSources(h, seq, delta);
                if (transitions)
                    ShiftTransitions(h, seq, delta);
            }
        };
        for (int32_t h : Collection()) {
            if (IsTrackLocked(h))
                Hit(QStringLiteral("pack passes a locked track"));
            else
                pack(h, false, false);
            if (!IsEffectLocked(h))
                pack(h, true, false);
        }
        if (!IsTrackLocked(O()))
            pack(O(), false, true);
    }

    void RestoreSize()
    {
        auto restore = [this](int32_t h, bool overlay) {
            for (int seq = 0; seq < GetSourceCount(h); ++seq) {
                if (!IsSourceSelected(h, seq))
                    continue;
                int32_t s = 0, e = 0, ms = 0, me = 0;
                GetSourceTimes(h, seq, s, e);
                GetSourceMediaTimes(h, seq, ms, me);
                if (e - s != me - ms)
                    Hit(QStringLiteral("restore size changes a length"));
                SetSourceTimes(h, seq, s, s + me - ms);
                if (overlay)
                    SetTransitionTimes(h, seq, s, s + me - ms);
            }
        };
        for (int32_t h : Collection())
            restore(h, false);
        restore(O(), true);
    }

    void RepeateAudio()
    {
        if (GetSourceCount(V()) == 0 || (GetSourceCount(A1()) == 0 && GetSourceCount(A2()) == 0))
            return;
        int32_t vs = 0, videoEnd = 0;
        GetSourceTimes(V(), GetSourceCount(V()) - 1, vs, videoEnd);
        const int32_t h = IsAnySourceSelected(A1()) ? A1() : IsAnySourceSelected(A2()) ? A2() : 0;
        if (h == 0)
            return;
        int seq = GetSourceCount(h) - 1;
        int32_t as = 0, audioEnd = 0, ms = 0, me = 0;
        GetSourceTimes(h, seq, as, audioEnd);
        GetSourceMediaTimes(h, seq, ms, me);
        const int32_t stream = GetSourceStream(h, seq);
        if (audioEnd >= videoEnd) {
            Hit(QStringLiteral("repeat audio with the sound long enough"));
            return;
        }
        while (audioEnd < videoEnd) {
            const int32_t mediaLength = me - ms, remaining = videoEnd - audioEnd;
            if (mediaLength <= 0)
                throw Undefined{QStringLiteral("a sound of no media length repeated")};
            AppendSource(h, stream, audioEnd);
            ++seq;
            if (remaining >= mediaLength) {
                SetSourceTimes(h, seq, audioEnd, audioEnd + mediaLength);
                SetSourceMediaTimes(h, seq, ms, me);
            } else {
                Hit(QStringLiteral("repeat audio cuts the last repeat"));
                SetSourceTimes(h, seq, audioEnd, videoEnd);
                SetSourceMediaTimes(h, seq, ms, remaining);
            }
            GetSourceTimes(h, seq, as, audioEnd);
            GetSourceMediaTimes(h, seq, ms, me);
        }
    }

    void SplitTracks()
    {
        const int32_t p = m_in.position;
        auto long_enough = [p](int32_t s, int32_t e) { return e - p >= 11 && p - s > 10; };
        for (int32_t h : Collection()) {
            if (!IsTrackLocked(h)) {
                const int seq = ItemAt(L(h).sources, p);
                if (seq >= 0) {
                    int32_t s = 0, e = 0;
                    GetSourceTimes(h, seq, s, e);
                    if (long_enough(s, e)) {
                        Hit(QStringLiteral("split cuts a source"));
                        SplitAt(h, seq, s, e, p);
                    } else {
                        Hit(QStringLiteral("split leaves a source whole"));
                    }
                }
            }
            if (!IsEffectLocked(h)) {
                const int seq = ItemAt(L(h).effects, p);
                if (seq >= 0) {
                    int32_t s = 0, e = 0;
                    GetEffectTimes(h, seq, s, e);
                    if (p == s || p == e)
                        Hit(QStringLiteral("split cuts an effect at its edge"));
                    const QString name = GetEffectName(h, seq, 10);
                    RemoveEffect(h, seq);
                    InsertEffect(h, name, seq, p, e);
                    InsertEffect(h, name, seq, s, p);
                }
            }
        }
        const int32_t h = O();
        if (IsTrackLocked(h))
            return;
        const int seq = ItemAt(L(h).sources, p);
        int32_t s = 0, e = 0;
        if (seq < 0 || !GetSourceTimes(h, seq, s, e) || !long_enough(s, e))
            return;
        Hit(QStringLiteral("split cuts an overlay"));
        const QString name = GetTransitionName(h, seq, 20);
        const int16_t r = GetKeyRed(h, seq), g = GetKeyGreen(h, seq), b = GetKeyBlue(h, seq);
        SplitAt(h, seq, s, e, p);
        InsertTransition(h, name, seq, p, e);
        ApplyTransitionKey(h, seq, r, g, b);
        InsertTransition(h, name, seq, s, p);
        ApplyTransitionKey(h, seq, r, g, b);
        RemoveTransition(h, seq + 2);
    }

    void ClearEffects()
    {
        for (int32_t h : Collection()) {
            if (IsEffectLocked(h)) {
                messages << QStringLiteral("Please unlock the Effect Track before attempting to clear it.");
                return;
            }
        }
        for (int32_t h : Collection())
            if (IsVideoTrack(h))
                L(h).effects.clear();
    }

    void ClearOverlay()
    {
        if (IsTrackLocked(O())) {
            messages << QStringLiteral("Please unlock the Overlays Track before attempting to clear it.");
            return;
        }
        L(O()).transitions.clear();
        L(O()).sources.clear();
    }

    void ClearTimeline()
    {
        bool locked = IsTrackLocked(O());
        for (int32_t h : Collection())
            locked = locked || IsTrackLocked(h) || IsEffectLocked(h);
        if (locked) {
            messages << QStringLiteral("One or more tracks in the timeline are locked. Please unlock these tracks "
                                       "before attempting to clear the timeline.");
            return;
        }
        messages << QStringLiteral("Are you sure you want to clear the timeline?");
        if (!m_in.answerYes)
            return;
        for (Lane& lane : lanes) {
            lane.sources.clear();
            lane.effects.clear();
            lane.transitions.clear();
        }
    }

    // ---- the timeline list's drops

    // The engine track behind a lane of the list, and the handle its lock is asked by
    // (the effect lane's belongs to no row).
    int32_t LaneTrack(int lane) const
    {
        static const int kinds[5] = {0, 0, 3, 1, 2};
        return lanes[static_cast<size_t>(kinds[lane])].handle;
    }
    bool LaneLocked(int lane) const { return lane != 1 && IsTrackLocked(LaneTrack(lane)); }

    void Drop()
    {
        const ListDrop& d = m_in.drop;
        const bool audio = d.dragLane >= 3, toAudio = d.dropLane >= 3;
        const bool unlocked = !LaneLocked(d.dragLane) && !LaneLocked(d.dropLane);
        if (d.dropPlace > 0 && d.dragLane == d.dropLane) {
            if (unlocked)
                ShuffleSources(d.dragLane, d.dragPlace, d.dropPlace);
            else
                Hit(QStringLiteral("shuffle on a locked track"));
        } else if (audio && toAudio && d.dragLane != d.dropLane) {
            if (unlocked)
                ChangeTrack(LaneTrack(d.dragLane), LaneTrack(d.dropLane), d.dropPlace == 0 ? 1 : d.dropPlace);
            else
                Hit(QStringLiteral("move between sound tracks, one locked"));
        } else {
            Hit(QStringLiteral("drop that moves nothing"));
        }
    }

    // The dragged item taken out and put back at the start of the item at the drop's
    // place (the list still holds the dragged node when that place is counted).
    void ShuffleSources(int lane, int from, int p)
    {
        const int32_t h = LaneTrack(lane);
        const bool effects = lane == 1, overlay = lane == 2;
        int32_t start = 0, stop = 0, ms = 0, me = 0, stream = 0;
        int16_t mode = 0, r = 0, g = 0, b = 0;
        QString name;
        if (effects) {
            name = GetEffectName(h, from - 1, 10);
            GetEffectTimes(h, from - 1, start, stop);
            RemoveEffect(h, from - 1);
        } else {
            if (overlay) {
                r = GetKeyRed(h, from - 1);
                g = GetKeyGreen(h, from - 1);
                b = GetKeyBlue(h, from - 1);
            }
            stream = GetSourceStream(h, from - 1);
            GetSourceTimes(h, from - 1, start, stop);
            GetSourceMediaTimes(h, from - 1, ms, me);
            mode = GetSourceStretchMode(h, from - 1);
            RemoveSource(h, from - 1);
            if (overlay)
                RemoveTransition(h, from - 1);
        }
        // No item left at the drop's place (it was the last node): the item goes last,
        // where it stood, unless the last one now ends later.
        int32_t at = 0, s = 0, e = 0;
        const int n = effects ? GetEffectCount(h) : GetSourceCount(h);
        if (effects ? GetEffectTimes(h, p - 1, s, e) : GetSourceTimes(h, p - 1, s, e)) {
            at = s;
        } else {
            Hit(QStringLiteral("shuffle onto the last node"));
            at = start;
            if (n > 0 && (effects ? GetEffectTimes(h, n - 1, s, e) : GetSourceTimes(h, n - 1, s, e)))
                at = std::max(start, e);
        }
        if (from == p)
            Hit(QStringLiteral("shuffle onto itself"));
        if (p == 1)
            Hit(QStringLiteral("shuffle to the first place"));
        const int32_t length = effects ? stop - start : me - ms;
        if (effects) {
            InsertEffect(h, name, p - 1, at, at + length);
            if (p == 1)
                ShiftEffects(h, p + 1, length);
            SetEffectTimes(h, p - 1, at, at + length);
        } else {
            InsertSource(h, stream, p - 1, at, length);
            if (p == 1)
                ShiftSources(h, p + 1, length);
            SetSourceTimes(h, p - 1, at, at + length);
            SetSourceMediaTimes(h, p - 1, ms, me);
            SetSourceStretchMode(h, p - 1, mode);
            if (overlay) {
                InsertTransition(h, QStringLiteral("DxtKey"), p - 1, at, at + length);
                ApplyTransitionKey(h, p - 1, r, g, b);
                if (p == 1)
                    ShiftTransitions(h, p + 1, length);
                SetTransitionTimes(h, p - 1, at, at + length);
            }
        }
        AlignTransitionsToSources();
    }

    void AlignTransitionsToSources()
    {
        const int32_t h = O();
        for (int seq = 0; seq < GetSourceCount(h); ++seq) {
            int32_t s = 0, e = 0, ks = 0, ke = 0;
            GetSourceTimes(h, seq, s, e);
            GetTransitionTimes(h, seq, ks, ke);
            if (s != ks && e != ke)
                SetTransitionTimes(h, seq, s, e);
        }
    }

    // The selected sources of an unlocked sound track to the other one at a place: each
    // starts where the one before that place ends (0 at the first place), keeps its
    // length, and those after it move on by its media length.
    void ChangeTrack(int32_t from, int32_t to, int targetPlace)
    {
        if (IsTrackLocked(from)) {
            Hit(QStringLiteral("move from a locked sound track"));
            return;
        }
        for (int seq = 0; seq < GetSourceCount(from); ++seq) {
            if (!IsSourceSelected(from, seq))
                continue;
            int32_t s = 0, e = 0, ms = 0, me = 0;
            GetSourceTimes(from, seq, s, e);
            GetSourceMediaTimes(from, seq, ms, me);
            const int32_t stream = GetSourceStream(from, seq);
            RemoveSource(from, seq);
            --seq;
            const int place = std::clamp(targetPlace, 1, GetSourceCount(to) + 1);
            int32_t at = 0, bs = 0;
            if (place > 1)
                GetSourceTimes(to, place - 2, bs, at);
            Hit(place == 1 ? QStringLiteral("move between sound tracks, first place") : QStringLiteral("move between sound tracks, a later place"));
            InsertSource(to, stream, place - 1, at, 0);
            SetSourceTimes(to, place - 1, at, at + e - s);
            SetSourceMediaTimes(to, place - 1, ms, me);
            ShiftSources(to, place, me - ms);
        }
    }

    // ---- paste

    void ClearMFSTSubSelections()
    {
        for (int32_t h : Collection()) {
            for (Src& s : L(h).sources)
                s.selected = false;
            if (IsVideoTrack(h))
                for (Fx& f : L(h).effects)
                    f.selected = false;
        }
        for (Src& s : L(O()).sources)
            s.selected = false;
        for (Key& k : L(O()).transitions)
            k.selected = false;
    }

    void EditPaste()
    {
        ClearMFSTSubSelections();
        int32_t position = m_in.position;
        bool shift = false;
        if (m_in.startShown || m_in.endShown) {
            EditSelection(moduleEdit::ModeDelete);
            position = m_in.a;
            shift = true;
        }
        EditPasteSource(position, shift);
        EditPasteEffect(position, shift);
        EditPasteOverlay(position, shift);
    }

    bool PasteBefore(int32_t h, int seq, int32_t position)
    {
        const int last = LastOf(clip.sources, h);
        if (last < 0)
            return true;
        const int first = last - clip.sources[last].Seq;
        if (first < 0)
            throw Undefined{QStringLiteral("a source run that starts before the clipboard")};
        int32_t pendingGap = 0;
        for (int i = last; i >= first; --i) {
            const SourceClip c = clip.sources[i];
            if (c.Stream != 0) {
                InsertSource(h, c.Stream, seq, position, 0);
                SetSourceTimes(h, seq, position, position + c.Length);
                SetSourceMediaTimes(h, seq, c.MediaStart, c.MediaStop);
                SetSourceStretchMode(h, seq, c.StretchMode);
                ShiftSources(h, seq + 1, c.Length + pendingGap);
                pendingGap = 0;
            } else {
                if (GetSourceCount(h) == 0) {
                    Hit(QStringLiteral("paste skips a gap on an empty track"));
                    continue;
                }
                pendingGap = c.MediaStop;
                Hit(QStringLiteral("paste keeps a gap, leading %1").arg(c.Seq == 0));
                if (c.Seq == 0)
                    ShiftSources(h, seq, pendingGap);
            }
        }
        return true;
    }

    bool PasteEffectBefore(int32_t h, int seq, int32_t position)
    {
        const int last = LastOf(clip.effects, h);
        if (last < 0 || !IsVideoTrack(h))
            return true;
        const int first = last - clip.effects[last].Seq;
        if (first < 0)
            throw Undefined{QStringLiteral("an effect run that starts before the clipboard")};
        int32_t pendingGap = 0;
        for (int i = last; i >= first; --i) {
            const EffectClip c = clip.effects[i];
            if (c.Name != u"0") {
                InsertEffect(h, c.Name, seq, position, position + c.Length);
                ShiftEffects(h, seq + 1, c.Length + pendingGap);
                pendingGap = 0;
            } else {
                if (GetEffectCount(h) == 0)
                    continue;
                pendingGap = c.Length;
                Hit(QStringLiteral("paste keeps an effect gap, leading %1").arg(c.Seq == 0));
                if (c.Seq == 0)
                    ShiftEffects(h, seq, pendingGap);
            }
        }
        return true;
    }

    bool PasteTransitionBefore(int32_t h, int seq, int32_t position)
    {
        const int last = LastOf(clip.transitions, h);
        if (last < 0 || !IsVideoTrack(h))
            return true;
        const int first = last - clip.transitions[last].Seq;
        if (first < 0)
            throw Undefined{QStringLiteral("a transition run that starts before the clipboard")};
        int32_t pendingGap = 0;
        for (int i = last; i >= first; --i) {
            const TransitionClip c = clip.transitions[i];
            if (c.Name != u"0") {
                InsertTransition(h, c.Name, seq, position, position + c.Length);
                ApplyTransitionKey(h, seq, c.KeyRed, c.KeyGreen, c.KeyBlue);
                ShiftTransitions(h, seq + 1, c.Length + pendingGap);
                pendingGap = 0;
            } else {
                if (GetTransitionCount(h) == 0)
                    continue;
                pendingGap = c.Length;
                Hit(QStringLiteral("paste keeps a transition gap, leading %1").arg(c.Seq == 0));
                if (c.Seq == 0)
                    ShiftTransitions(h, seq, pendingGap);
            }
        }
        return true;
    }

    // The gap after the item that ends exactly at the position closes.
    template <class I>
    static bool CloseGapAfter(std::vector<I>& v, int32_t position, const char* what)
    {
        const int n = static_cast<int>(v.size());
        for (int i = 0; i <= n - 2; ++i) {
            int32_t s = 0, e = 0, ns = 0, ne = 0;
            TimesOf(v, i, s, e);
            if (e != position)
                continue;
            TimesOf(v, i + 1, ns, ne);
            if (ns != position)
                Hit(QStringLiteral("paste closes a gap after %1").arg(QLatin1String(what)));
            return ShiftFrom(v, i + 1, -(ns - position));
        }
        return true;
    }
    bool ShiftSourcesFromPos(int32_t position, int32_t h) { return CloseGapAfter(L(h).sources, position, "a source"); }
    bool ShiftEffectsFromPos(int32_t position, int32_t h) { return CloseGapAfter(L(h).effects, position, "an effect"); }
    bool ShiftTransitionsFromPos(int32_t position, int32_t h)
    {
        return CloseGapAfter(L(h).transitions, position, "a transition");
    }

    // Where the position falls among a track's sources (or effects): the item before
    // which or in which it lies, or the last one. False when the track is locked.
    template <class Times, class Count, class Locked, class Shift>
    bool FindPlace(int32_t h, int32_t position, bool shift, int& j, int32_t& s, int32_t& e, Times times, Count count,
                   Locked locked, Shift shiftFromPos)
    {
        j = 0;
        while (true) {
            if (locked(h))
                return false;
            if (shift)
                shiftFromPos();
            times(h, j, s, e);
            const int n = count(h);
            if (j < n - 1) {
                int32_t ns = 0, ne = 0;
                times(h, j + 1, ns, ne);
                if (position >= ns) {
                    ++j;
                    continue;
                }
            }
            return true;
        }
    }

    void HitPlace(const QString& what, int32_t h, int j, int32_t s, int32_t e, int32_t position)
    {
        const bool clips = what == u"effect" ? LastOf(clip.effects, h) >= 0 : LastOf(clip.sources, h) >= 0;
        QString place = position == s                 ? QStringLiteral("at a start")
                        : position == e               ? QStringLiteral("at a stop")
                        : (s < position && position < e) ? (clips ? QStringLiteral("inside, split") : QStringLiteral("inside, no records"))
                        : (position < s && j == 0)    ? QStringLiteral("before the first")
                                                      : QStringLiteral("after");
        Hit(QStringLiteral("paste %1 %2").arg(what, place));
    }

    // The split of a paste: the media formulas divide the whole expression by the rate.
    void SplitAt(int32_t h, int j, int32_t s, int32_t e, int32_t position)
    {
        const int32_t stream = GetSourceStream(h, j);
        const int16_t stretch = GetSourceStretchMode(h, j);
        int32_t ms = 0, me = 0;
        GetSourceMediaTimes(h, j, ms, me);
        const double rate = Rate({s, e, ms, me});
        InsertSource(h, stream, j, position, 0);
        SetSourceTimes(h, j, position, e);
        SetSourceMediaTimes(h, j, RoundEven(static_cast<double>(me - (e - position)) / rate), me);
        SetSourceStretchMode(h, j, stretch);
        InsertSource(h, stream, j, s, 0);
        SetSourceTimes(h, j, s, position);
        SetSourceMediaTimes(h, j, ms, RoundEven(static_cast<double>((position - s) + ms) / rate));
        SetSourceStretchMode(h, j, stretch);
        RemoveSource(h, j + 2);
    }

    void EditPasteSource(int32_t position, bool shift)
    {
        for (int32_t h : Collection()) {
            if (GetSourceCount(h) == 0) {
                if (IsTrackLocked(h) && LastOf(clip.sources, h) >= 0)
                    Hit(QStringLiteral("paste on a locked, empty track"));
                PasteBefore(h, 0, position);
                continue;
            }
            int j = 0;
            int32_t s = 0, e = 0;
            const bool found = FindPlace(
                h, position, shift, j, s, e,
                [&](int32_t t, int q, int32_t& x, int32_t& y) { return GetSourceTimes(t, q, x, y); },
                [&](int32_t t) { return GetSourceCount(t); }, [&](int32_t t) { return IsTrackLocked(t); },
                [&] { ShiftSourcesFromPos(position, h); });
            if (!found)
                continue;
            HitPlace(QStringLiteral("source"), h, j, s, e, position);
            if (position == s) {
                PasteBefore(h, j, position);
            } else if (position == e) {
                PasteBefore(h, j + 1, position);
            } else if (s < position && position < e) {
                if (LastOf(clip.sources, h) < 0)
                    continue;
                SplitAt(h, j, s, e, position);
                PasteBefore(h, j + 1, position);
            } else if (position < s && j == 0) {
                PasteBefore(h, j, position);
            } else {
                PasteBefore(h, j + 1, position);
            }
        }
    }

    void EditPasteEffect(int32_t position, bool shift)
    {
        for (int32_t h : Collection()) {
            if (GetEffectCount(h) == 0) {
                PasteEffectBefore(h, 0, position);
                continue;
            }
            int j = 0;
            int32_t s = 0, e = 0;
            const bool found = FindPlace(
                h, position, shift, j, s, e,
                [&](int32_t t, int q, int32_t& x, int32_t& y) { return GetEffectTimes(t, q, x, y); },
                [&](int32_t t) { return GetEffectCount(t); }, [&](int32_t t) { return IsEffectLocked(t); },
                [&] { ShiftEffectsFromPos(position, h); });
            if (!found)
                continue;
            HitPlace(QStringLiteral("effect"), h, j, s, e, position);
            if (position == s) {
                PasteEffectBefore(h, j, position);
            } else if (position == e) {
                PasteEffectBefore(h, j + 1, position);
            } else if (s < position && position < e) {
                if (LastOf(clip.effects, h) < 0)
                    continue;
                const QString name = GetEffectName(h, j, 260);
                RemoveEffect(h, j);
                InsertEffect(h, name, j, position, e);
                InsertEffect(h, name, j, s, position);
                PasteEffectBefore(h, j + 1, position);
            } else if (position < s && j == 0) {
                PasteEffectBefore(h, j, position);
            } else {
                PasteEffectBefore(h, j + 1, position);
            }
        }
    }

    void EditPasteOverlay(int32_t position, bool shift)
    {
        const int32_t h = O();
        auto pair = [&](int seq) {
            PasteBefore(h, seq, position);
            PasteTransitionBefore(h, seq, position);
        };
        if (GetSourceCount(h) == 0) {
            pair(0);
            return;
        }
        int j = 0;
        int32_t s = 0, e = 0;
        const bool found = FindPlace(
            h, position, shift, j, s, e,
            [&](int32_t t, int q, int32_t& x, int32_t& y) { return GetSourceTimes(t, q, x, y); },
            [&](int32_t t) { return GetSourceCount(t); }, [&](int32_t t) { return IsTrackLocked(t); },
            [&] {
                ShiftSourcesFromPos(position, h);
                ShiftTransitionsFromPos(position, h);
            });
        if (!found)
            return;
        HitPlace(QStringLiteral("overlay"), h, j, s, e, position);
        if (position == s) {
            pair(j);
        } else if (position == e) {
            pair(j + 1);
        } else if (s < position && position < e) {
            if (LastOf(clip.sources, h) < 0)
                return;
            const QString name = GetTransitionName(h, j, 20);
            const int16_t r = GetKeyRed(h, j), g = GetKeyGreen(h, j), b = GetKeyBlue(h, j);
            SplitAt(h, j, s, e, position);
            RemoveTransition(h, j);
            InsertTransition(h, name, j, position, e);
            ApplyTransitionKey(h, j, r, g, b);
            InsertTransition(h, name, j, s, position);
            ApplyTransitionKey(h, j, r, g, b);
            pair(j + 1);
        } else if (position < s && j == 0) {
            pair(j);
        } else {
            pair(j + 1);
        }
    }
};

// ------------------------------------------------------------------------------------
// Reading and describing states.

const char* const kLaneNames[4] = {"V", "A1", "A2", "O"};

QStringList Lines(const std::array<Lane, 4>& lanes)
{
    QStringList lines;
    for (int i = 0; i < 4; ++i) {
        const Lane& lane = lanes[static_cast<size_t>(i)];
        const QString tag = QString::fromLatin1(kLaneNames[i]);
        for (size_t q = 0; q < lane.sources.size(); ++q) {
            const Src& s = lane.sources[q];
            lines << QStringLiteral("%1 source %2: %3-%4 media %5-%6 stream %7 mode %8%9")
                         .arg(tag)
                         .arg(q)
                         .arg(s.start)
                         .arg(s.stop)
                         .arg(s.mediaStart)
                         .arg(s.mediaStop)
                         .arg(s.stream)
                         .arg(s.mode)
                         .arg(s.selected ? QStringLiteral(" selected") : QString());
        }
        for (size_t q = 0; q < lane.effects.size(); ++q) {
            const Fx& f = lane.effects[q];
            lines << QStringLiteral("%1 effect %2: %3 %4-%5%6")
                         .arg(tag)
                         .arg(q)
                         .arg(f.name)
                         .arg(f.start)
                         .arg(f.stop)
                         .arg(f.selected ? QStringLiteral(" selected") : QString());
        }
        for (size_t q = 0; q < lane.transitions.size(); ++q) {
            const Key& k = lane.transitions[q];
            QString params;
            for (const auto& [name, value] : k.params)
                params += QStringLiteral(" %1=%2").arg(name).arg(value);
            lines << QStringLiteral("%1 transition %2: %3 %4-%5 key %6,%7,%8%9%10")
                         .arg(tag)
                         .arg(q)
                         .arg(k.name)
                         .arg(k.start)
                         .arg(k.stop)
                         .arg(k.red)
                         .arg(k.green)
                         .arg(k.blue)
                         .arg(params)
                         .arg(k.selected ? QStringLiteral(" selected") : QString());
        }
    }
    return lines;
}

QString TrackName(int32_t track, const std::array<Lane, 4>& lanes)
{
    for (int i = 0; i < 4; ++i)
        if (lanes[static_cast<size_t>(i)].handle == track)
            return QString::fromLatin1(kLaneNames[i]);
    return QString::number(track);
}

QStringList Lines(const Clipboard& c, const std::array<Lane, 4>& lanes)
{
    QStringList lines;
    for (int i = 0; i < c.sources.size(); ++i) {
        const SourceClip& s = c.sources[i];
        lines << QStringLiteral("source clip %1: track %2 stream %3 media %4-%5 seq %6 length %7 mode %8")
                     .arg(i)
                     .arg(TrackName(s.Track, lanes))
                     .arg(s.Stream)
                     .arg(s.MediaStart)
                     .arg(s.MediaStop)
                     .arg(s.Seq)
                     .arg(s.Length)
                     .arg(s.StretchMode);
    }
    for (int i = 0; i < c.effects.size(); ++i) {
        const EffectClip& e = c.effects[i];
        lines << QStringLiteral("effect clip %1: track %2 \"%3\" length %4 seq %5")
                     .arg(i)
                     .arg(TrackName(e.Track, lanes), e.Name)
                     .arg(e.Length)
                     .arg(e.Seq);
    }
    for (int i = 0; i < c.transitions.size(); ++i) {
        const TransitionClip& t = c.transitions[i];
        lines << QStringLiteral("transition clip %1: track %2 \"%3\" length %4 key %5,%6,%7 seq %8")
                     .arg(i)
                     .arg(TrackName(t.Track, lanes), t.Name)
                     .arg(t.Length)
                     .arg(t.KeyRed)
                     .arg(t.KeyGreen)
                     .arg(t.KeyBlue)
                     .arg(t.Seq);
    }
    return lines;
}

// The first line where two descriptions part, or "" when they agree.
QString FirstDifference(const QStringList& program, const QStringList& model,
                        const QString& names = QStringLiteral("program: |model:   "))
{
    const qsizetype n = std::max(program.size(), model.size());
    for (qsizetype i = 0; i < n; ++i) {
        const QString p = i < program.size() ? program[i] : QStringLiteral("(nothing)");
        const QString m = i < model.size() ? model[i] : QStringLiteral("(nothing)");
        if (p != m)
            return QStringLiteral("%1%2\n    %3%4").arg(names.section(u'|', 0, 0), p, names.section(u'|', 1, 1), m);
    }
    return QString();
}

QString Indented(const QStringList& lines)
{
    if (lines.isEmpty())
        return QStringLiteral("    (empty)\n");
    QString text;
    for (const QString& line : lines)
        text += QStringLiteral("    ") + line + u'\n';
    return text;
}

mdiTarnwick* Main()
{
    return mdiTarnwick::instance();
}

ITWTimeline& Tl()
{
    return Eng<ITWTimeline>();
}

const Tarnwick::TimelineModel& EngineModel()
{
    return dynamic_cast<TarnwickTimeline&>(*Engine).Model();
}

std::array<int32_t, 4> Handles()
{
    return {TrackCollection.Item(1), TrackCollection.Item(2), TrackCollection.Item(3), OverlayTrack};
}

std::array<Lane, 4> ReadLanes()
{
    std::array<Lane, 4> lanes;
    const auto handles = Handles();
    for (size_t i = 0; i < 4; ++i) {
        const Tarnwick::Track& t = EngineModel().At(handles[i]);
        Lane& lane = lanes[i];
        lane.handle = t.handle;
        lane.isVideo = t.isVideo;
        lane.linked = t.linked;
        for (const auto& s : t.sources)
            lane.sources.push_back(Src{{s.start, s.stop, s.mediaStart, s.mediaStop}, s.stream, s.stretchMode, s.selected});
        for (const auto& f : t.effects)
            lane.effects.push_back(Fx{f.name, f.start, f.stop, f.selected});
        for (const auto& k : t.transitions) {
            Key key;
            key.name = k.name;
            key.start = k.start;
            key.stop = k.stop;
            key.selected = k.selected;
            key.red = k.keyRed;
            key.green = k.keyGreen;
            key.blue = k.keyBlue;
            key.params = k.parameters;
            lane.transitions.push_back(key);
        }
    }
    return lanes;
}

Clipboard ReadClipboard()
{
    return Clipboard{moduleEdit::SourceClips, moduleEdit::EffectClips, moduleEdit::TransitionClips};
}

// ------------------------------------------------------------------------------------
// The timeline as it must stand after every step, read through the ITW interfaces:
// on each track sources in order and apart, each with a length and its media within its
// stream; the effects in order and apart; every overlay source with the key transition of
// its place, at its times; nothing where it does not belong. Quillmont's own edits leave
// some of these behind (see Allowed), so a step is held to what the timeline had before
// it: a fault may stay where it was, and may come new only from its known cause. A step
// left to the error trap is held to nothing, as the model holds it to nothing.

enum class Fault { SourceLayout, SourceMedia, EffectLayout, KeyCount, KeyTimes, Stray };
constexpr int kFaultKinds = 6;
const char* const kFaultNames[kFaultKinds] = {"sources out of place", "media outside its stream",
                                              "effects out of place", "key transitions not one a source",
                                              "key transitions off their sources", "stray items"};

// Per track (V, A1, A2, O) and kind of fault, the first item that shows it; empty for none.
struct Health
{
    std::array<std::array<QString, kFaultKinds>, 4> first;

    bool Has(int lane, Fault f) const { return !first[static_cast<size_t>(lane)][static_cast<size_t>(f)].isEmpty(); }
    void Note(int lane, Fault f, const QString& what)
    {
        QString& slot = first[static_cast<size_t>(lane)][static_cast<size_t>(f)];
        if (slot.isEmpty())
            slot = what;
    }
};

using Allowance = std::array<std::array<bool, kFaultKinds>, 4>;

int LaneOf(int32_t track)
{
    const auto handles = Handles();
    return static_cast<int>(std::find(handles.begin(), handles.end(), track) - handles.begin());
}

Health CheckTimeline(const QHash<int32_t, int32_t>& streamLength)
{
    auto& tl = Tl();
    Health health;
    // The history's reader, names at full width: the check and the images see the same items.
    const TimelineImage image = ModuleHistory::ReadTimelineImage(260);
    auto checkSources = [&](const QList<SourceImage>& sources) {
        for (qsizetype i = 0; i < sources.size(); ++i) {
            const SourceImage& s = sources[i];
            const QmSpan span = s.Span();
            const int lane = LaneOf(s.Track);
            const QString at = QStringLiteral("source %1 at %2-%3").arg(s.Seq).arg(s.Start).arg(s.Stop);
            if (i > 0 && sources[i - 1].Track == s.Track && s.Start < sources[i - 1].Stop)
                health.Note(lane, Fault::SourceLayout, at + QStringLiteral(" begins before the one ahead of it ends"));
            if (span.Length() <= 0 || s.Start < 0)
                health.Note(lane, Fault::SourceLayout, at + QStringLiteral(" has no length or begins before 0"));
            if (s.MediaStart < 0 || span.MediaLength() <= 0 || s.MediaStop > streamLength.value(s.Stream))
                health.Note(lane, Fault::SourceMedia, at + QStringLiteral(" plays %1-%2 of a stream %3 long")
                                                           .arg(s.MediaStart)
                                                           .arg(s.MediaStop)
                                                           .arg(streamLength.value(s.Stream)));
        }
    };
    checkSources(image.sources);
    checkSources(image.overlays);
    for (qsizetype i = 0; i < image.effects.size(); ++i) {
        const EffectImage& e = image.effects[i];
        const QString at = QStringLiteral("effect %1 at %2-%3").arg(i).arg(e.Start).arg(e.Stop);
        if (e.Stop <= e.Start || e.Start < 0 || (i > 0 && e.Start < image.effects[i - 1].Stop))
            health.Note(0, Fault::EffectLayout, at + QStringLiteral(" is empty or meets the one ahead of it"));
        if (e.Name.isEmpty() || e.Name == u"0")
            health.Note(0, Fault::Stray, at + QStringLiteral(" has no name"));
    }
    // The image pairs each overlay source with the transition of its place.
    const int16_t keys = tl.GetTransitionCount(OverlayTrack);
    if (keys != image.overlays.size())
        health.Note(3, Fault::KeyCount,
                    QStringLiteral("%1 key transitions for %2 sources").arg(keys).arg(image.overlays.size()));
    for (qsizetype i = 0; i < std::min<qsizetype>(keys, image.overlays.size()); ++i) {
        const TransitionImage& t = image.transitions[i];
        const SourceImage& s = image.overlays[i];
        const QString at = QStringLiteral("key transition %1 at %2-%3").arg(i).arg(t.Start).arg(t.Stop);
        if (t.Start != s.Start || t.Stop != s.Stop)
            health.Note(3, Fault::KeyTimes, at + QStringLiteral(", its source at %1-%2").arg(s.Start).arg(s.Stop));
        if (t.Stop <= t.Start || t.Start < 0 || (i > 0 && t.Start < image.transitions[i - 1].Start))
            health.Note(3, Fault::KeyTimes, at + QStringLiteral(" is empty or out of order"));
        if (t.Name.isEmpty() || t.Name == u"0")
            health.Note(3, Fault::Stray, at + QStringLiteral(" has no name"));
    }
    const auto handles = Handles();
    for (int lane = 0; lane < 4; ++lane) {
        const int32_t track = handles[static_cast<size_t>(lane)];
        if (lane != 0 && tl.GetEffectCount(track) != 0)
            health.Note(lane, Fault::Stray, QStringLiteral("effects off the video track"));
        if (lane != 3 && tl.GetTransitionCount(track) != 0)
            health.Note(lane, Fault::Stray, QStringLiteral("key transitions off the overlay"));
        // A selected flag goes with its item: no number past the last answers.
        if (tl.IsSourceSelected(track, tl.GetSourceCount(track)) || tl.IsEffectItemSelected(track, tl.GetEffectCount(track)))
            health.Note(lane, Fault::Stray, QStringLiteral("a selected flag past the last item"));
    }
    return health;
}

bool FaultyRecord(const SourceClip& c, const QHash<int32_t, int32_t>& streamLength)
{
    if (c.Stream == 0)
        return c.MediaStop <= 0; // a gap's length
    return c.Length <= 0 || c.MediaStart < 0 || c.MediaStop <= c.MediaStart || c.MediaStop > streamLength.value(c.Stream);
}

// What a whole-track command or a drop on the timeline list may leave on a track besides
// what it had: only the marks of their own known quirks, each named.
Allowance AllowedByTrackCommands(Allowance allowed, const Inputs& in, const std::array<Lane, 4>& lanes,
                                 const QHash<int32_t, int32_t>& streamLength)
{
    auto allow = [&allowed](int lane, Fault f) { allowed[static_cast<size_t>(lane)][static_cast<size_t>(f)] = true; };
    const bool locks[4] = {in.boxes.lockVideo, in.boxes.lockAudio1, in.boxes.lockAudio2, in.boxes.lockOverlay};
    auto stretched = [](const Src& s) { return s.Length() != s.MediaLength(); };
    // A move between the sound tracks: the sounds after a moved one move on by its media
    // length, not by its length on the timeline, so a sound that plays faster or slower
    // may come to lie over the next.
    auto moves = [&](int from, int to) {
        const auto& v = lanes[static_cast<size_t>(from)].sources;
        if (locks[from])
            return;
        if (std::any_of(v.begin(), v.end(), [&](const Src& s) { return s.selected && stretched(s); }))
            allow(to, Fault::SourceLayout);
        // A moved sound takes along what was wrong with it.
        for (const Src& s : v) {
            if (!s.selected)
                continue;
            if (s.Length() <= 0)
                allow(to, Fault::SourceLayout);
            if (s.mediaStart < 0 || s.MediaLength() <= 0 || s.mediaStop > streamLength.value(s.stream))
                allow(to, Fault::SourceMedia);
        }
    };
    switch (in.command) {
    case Command::Restore:
        // Restore Size moves nothing after the source it gives its media length: that
        // source may come to lie over the next.
        for (int lane = 0; lane < 4; ++lane) {
            const auto& v = lanes[static_cast<size_t>(lane)].sources;
            if (std::any_of(v.begin(), v.end(), [&](const Src& s) { return s.selected && stretched(s); }))
                allow(lane, Fault::SourceLayout);
        }
        break;
    case Command::Repeat:
        // Repeat Audio's last repeat takes the remaining length itself as its media stop,
        // not counted from its media start: a sound that starts into its file plays a
        // shorter stretch of it, or none.
        allow(std::any_of(lanes[1].sources.begin(), lanes[1].sources.end(), [](const Src& s) { return s.selected; }) ? 1 : 2,
              Fault::SourceMedia);
        break;
    case Command::Split:
        // The split divides the whole media expression of a source by its rate, as a
        // paste does; and an effect split on its edge leaves an empty piece, as effects
        // have no shortest piece.
        for (int lane = 0; lane < 4; ++lane) {
            const auto& v = lanes[static_cast<size_t>(lane)].sources;
            const auto at = std::find_if(v.begin(), v.end(),
                                         [&](const Src& s) { return s.start <= in.position && in.position <= s.stop; });
            if (!locks[lane] && at != v.end() && stretched(*at))
                allow(lane, Fault::SourceMedia);
        }
        if (!in.boxes.lockEffect) {
            const auto& fx = lanes[0].effects;
            const auto at = std::find_if(fx.begin(), fx.end(),
                                         [&](const Fx& f) { return f.start <= in.position && in.position <= f.stop; });
            if (at != fx.end() && (at->start == in.position || at->stop == in.position))
                allow(0, Fault::EffectLayout);
        }
        break;
    case Command::Shuffle: {
        // A shuffle puts the item in at the start of the one at the drop's place and
        // moves what follows only when that place is the first, and then from the third
        // item on: items come to lie over one another.
        const ListDrop& d = in.drop;
        if (d.dropPlace > 0 && d.dragLane == d.dropLane) {
            static const int laneOf[5] = {0, 0, 3, 1, 2};
            const int lane = laneOf[d.dragLane];
            allow(lane, d.dragLane == 1 ? Fault::EffectLayout : Fault::SourceLayout);
            if (lane == 3)
                allow(3, Fault::KeyTimes);
        } else if (d.dragLane >= 3 && d.dropLane >= 3 && d.dragLane != d.dropLane) {
            moves(d.dragLane - 2, d.dropLane - 2);
        }
        break;
    }
    case Command::ToAudio1:
        moves(2, 1);
        break;
    case Command::ToAudio2:
        moves(1, 2);
        break;
    default:
        break;
    }
    return allowed;
}

// What a step may leave on a track that it did not have before, by Quillmont's rules.
Allowance Allowed(const Health& before, const Inputs& in, const std::array<Lane, 4>& lanes, const Clipboard& clip,
                  const QHash<int32_t, int32_t>& streamLength)
{
    Allowance allowed{};
    const bool locks[4] = {in.boxes.lockVideo, in.boxes.lockAudio1, in.boxes.lockAudio2, in.boxes.lockOverlay};
    auto allowSources = [&](int lane, bool layout) {
        allowed[static_cast<size_t>(lane)][static_cast<size_t>(Fault::SourceMedia)] = true;
        if (layout)
            allowed[static_cast<size_t>(lane)][static_cast<size_t>(Fault::SourceLayout)] = true;
    };
    for (int lane = 0; lane < 4; ++lane) {
        for (int f = 0; f < kFaultKinds; ++f)
            allowed[static_cast<size_t>(lane)][static_cast<size_t>(f)] = before.Has(lane, static_cast<Fault>(f));
        // Sources out of place give media out of place (a negative rate), and back.
        if (before.Has(lane, Fault::SourceLayout) || before.Has(lane, Fault::SourceMedia))
            allowSources(lane, true);
    }
    // Overlays lying over one another (a shuffle leaves them so) have their key
    // transitions cut and placed with them, out of order too.
    if (before.Has(3, Fault::SourceLayout))
        allowed[3][static_cast<size_t>(Fault::KeyTimes)] = true;
    // Repeat Audio's last repeat can play a millisecond or two of media over a second:
    // cut at a grid point, a piece of it holds less than half a millisecond of media,
    // which rounds to none.
    for (int lane = 0; lane < 4; ++lane) {
        const auto& v = lanes[static_cast<size_t>(lane)].sources;
        if (IsEdit(in.command) && std::any_of(v.begin(), v.end(), [](const Src& s) {
                return s.MediaLength() > 0 && s.Length() > 100 * s.MediaLength();
            }))
            allowed[static_cast<size_t>(lane)][static_cast<size_t>(Fault::SourceMedia)] = true;
    }
    if (!IsEdit(in.command))
        return AllowedByTrackCommands(allowed, in, lanes, streamLength);
    const bool anySlider = in.startShown || in.endShown;
    const bool bothSliders = in.startShown && in.endShown;
    // The guard of a source's delete and crop lets a source wholly after the selection
    // through: a delete moves its start back to the selection's end, its media start
    // with it (below 0, over the one before); a crop of sources puts its stop there.
    // Paste with a selection slider shown deletes first. Not the overlay, whose guard
    // is the common one.
    const bool deletes = (in.command == Command::Delete && bothSliders)
                         || (in.command == Command::CropSources && bothSliders)
                         || (in.command == Command::Paste && anySlider);
    for (int lane = 0; deletes && lane < 3; ++lane) {
        const Lane& l = lanes[static_cast<size_t>(lane)];
        if (l.linked && !locks[lane]
            && std::any_of(l.sources.begin(), l.sources.end(), [&](const Src& s) { return s.start > in.b; }))
            allowSources(lane, true);
    }
    // A crop over an empty selection keeps the empty part of an item it cuts through.
    const bool cropsToNothing =
        (in.command == Command::Crop || in.command == Command::CropSources) && bothSliders && in.a == in.b;
    auto cutThrough = [&](const auto& items) {
        return std::any_of(items.begin(), items.end(), [&](const auto& i) { return i.start < in.a && in.a < i.stop; });
    };
    for (int lane = 0; cropsToNothing && lane < 4; ++lane) {
        const Lane& l = lanes[static_cast<size_t>(lane)];
        if (l.linked && !locks[lane] && cutThrough(l.sources)) {
            allowSources(lane, true);
            if (lane == 3)
                allowed[3][static_cast<size_t>(Fault::KeyTimes)] = true;
        }
    }
    if (cropsToNothing && in.boxes.linkEffect && !in.boxes.lockEffect && cutThrough(lanes[0].effects))
        allowed[0][static_cast<size_t>(Fault::EffectLayout)] = true;
    if (in.command != Command::Paste)
        return allowed;
    const int32_t position = anySlider ? in.a : in.position;
    for (int lane = 0; lane < 4; ++lane) {
        const Lane& l = lanes[static_cast<size_t>(lane)];
        if (locks[lane] && !l.sources.empty())
            continue; // a paste passes a locked track by
        bool records = false, faulty = false;
        for (const SourceClip& c : clip.sources) {
            if (c.Track == l.handle) {
                records = true;
                faulty = faulty || FaultyRecord(c, streamLength);
            }
        }
        // Records that were out of place when they were taken come back so.
        if (faulty)
            allowSources(lane, true);
        // The paste's split divides the whole media expression by the rate: a source
        // that plays faster or slower comes apart with media off its own.
        if (records && std::any_of(l.sources.begin(), l.sources.end(), [&](const Src& s) {
                return s.start < position && position < s.stop && s.Length() != s.MediaLength();
            }))
            allowSources(lane, false);
    }
    if (!in.boxes.lockEffect || lanes[0].effects.empty()) {
        for (const EffectClip& c : clip.effects)
            if (c.Track == lanes[0].handle && c.Length <= 0)
                allowed[0][static_cast<size_t>(Fault::EffectLayout)] = true;
    }
    // The transitions' gap records follow rules of their own (a stretch between two
    // pieces is not kept, the trailing one counts on the sources' counter), so pasted
    // key transitions need not lie where their sources do.
    if (!locks[3] || lanes[3].sources.empty()) {
        for (const TransitionClip& c : clip.transitions)
            if (c.Track == lanes[3].handle)
                allowed[3][static_cast<size_t>(Fault::KeyTimes)] = true;
    }
    return allowed;
}

// The faults a step made that Quillmont's rules do not account for; empty when none.
QString NewFaults(const Health& after, const Allowance& allowed)
{
    QStringList faults;
    for (int lane = 0; lane < 4; ++lane)
        for (int f = 0; f < kFaultKinds; ++f)
            if (after.Has(lane, static_cast<Fault>(f)) && !allowed[static_cast<size_t>(lane)][static_cast<size_t>(f)])
                faults << QStringLiteral("%1, %2: %3")
                              .arg(QLatin1String(kLaneNames[lane]), QLatin1String(kFaultNames[f]),
                                   after.first[static_cast<size_t>(lane)][static_cast<size_t>(f)]);
    return faults.join(QStringLiteral("\n    "));
}

// The timeline list brought up to date must read as one made afresh from the engine: a
// node for each item in the engine's order with its file's or effect's name, tags from 1
// in the list's order, each track node open while it has items. "" when it does.
QString ListDifference(const std::array<Lane, 4>& lanes)
{
    ModuleTreeView::UpdateTreeView();
    QTreeWidget* tree = frmTimeline::instance()->Controls()->tvwTimeline;
    if (tree->topLevelItemCount() != 1)
        return QStringLiteral("the list has %1 top nodes").arg(tree->topLevelItemCount());
    auto name = [](int32_t stream) {
        return moduleTimeline::GetMediaFileName(Eng<ITWMediaFiles>().GetStreamFile(stream));
    };
    QList<QStringList> expected(5);
    for (const Src& s : lanes[0].sources)
        expected[0] << name(s.stream);
    for (const Fx& f : lanes[0].effects)
        expected[1] << f.name.left(10).trimmed();
    for (const Src& s : lanes[3].sources)
        expected[2] << name(s.stream);
    for (const Src& s : lanes[1].sources)
        expected[3] << name(s.stream);
    for (const Src& s : lanes[2].sources)
        expected[4] << name(s.stream);
    QTreeWidgetItem* root = tree->topLevelItem(0);
    if (root->childCount() != 5)
        return QStringLiteral("the list has %1 track nodes").arg(root->childCount());
    int32_t tag = 1;
    for (int t = 0; t < 5; ++t) {
        QTreeWidgetItem* track = root->child(t);
        QStringList texts;
        for (int i = 0; i < track->childCount(); ++i) {
            texts << track->child(i)->text(0);
            if (ModuleTreeView::TagOf(track->child(i)) != tag++)
                return QStringLiteral("node %1 of %2 has tag %3").arg(i).arg(track->text(0)).arg(ModuleTreeView::TagOf(track->child(i)));
        }
        if (texts != expected[t])
            return QStringLiteral("%1 lists %2, the engine holds %3")
                .arg(track->text(0), texts.join(u','), expected[t].join(u','));
        if (track->isExpanded() != (track->childCount() > 0))
            return QStringLiteral("%1 is %2").arg(track->text(0), track->isExpanded() ? QStringLiteral("open") : QStringLiteral("closed"));
    }
    return QString();
}

// ------------------------------------------------------------------------------------
// Undo and redo: the history keeps images of the timeline without the selected flags,
// with the key transitions' names read through 10 characters in an entry and through 20
// in the image after the newest operation.

QStringList ImageLines(std::array<Lane, 4> lanes, int nameWidth)
{
    for (Lane& lane : lanes) {
        for (Src& s : lane.sources)
            s.selected = false;
        for (Fx& f : lane.effects)
            f.selected = false;
        for (Key& k : lane.transitions) {
            k.selected = false;
            k.name = k.name.left(nameWidth).trimmed();
        }
    }
    return Lines(lanes);
}

// Whether the history can rebuild an image item for item: it lays effects and key
// transitions out through the engine's placing calls, which put them in order of their
// starts and refuse an empty one, one before 0 or an effect over another; and it pairs
// the transitions with the overlay's sources by place.
bool Restorable(const std::array<Lane, 4>& lanes)
{
    const std::vector<Fx>& effects = lanes[0].effects;
    for (size_t i = 0; i < effects.size(); ++i)
        if (effects[i].stop <= effects[i].start || effects[i].start < 0 || (i > 0 && effects[i].start < effects[i - 1].stop))
            return false;
    const std::vector<Key>& keys = lanes[3].transitions;
    if (keys.size() != lanes[3].sources.size())
        return false;
    for (size_t i = 0; i < keys.size(); ++i)
        if (keys[i].stop <= keys[i].start || keys[i].start < 0 || (i > 0 && keys[i].start < keys[i - 1].start))
            return false;
    return true;
}

int EnvInt(const char* name, int fallback)
{
    bool ok = false;
    const int value = qEnvironmentVariableIntValue(name, &ok);
    return ok ? value : fallback;
}

} // namespace

// ------------------------------------------------------------------------------------

class TestEditingModel : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void randomEditsFollowTheModel();

private:
    std::mt19937 m_rng;
    QList<int32_t> m_videoStreams;
    QList<int32_t> m_audioStreams;
    QHash<int32_t, bool> m_streamIsVideo;
    QHash<int32_t, int32_t> m_streamLength; // ms
    // The timeline as each history entry was made, by entry, and after the newest.
    QHash<const cHistoryData*, std::array<Lane, 4>> m_entryImages;
    std::array<Lane, 4> m_newestImage;

    int Pick(int lo, int hi) { return std::uniform_int_distribution<int>(lo, hi)(m_rng); }
    bool Chance(double p) { return std::uniform_real_distribution<double>(0.0, 1.0)(m_rng) < p; }
    template <class T>
    T OneOf(const QList<T>& list) { return list[Pick(0, static_cast<int>(list.size()) - 1)]; }

    int32_t OpenStream(const char* fixture, int16_t index);
    void ClearTimeline();
    std::vector<std::pair<int32_t, int32_t>> Run(int count, int32_t from);
    void AddSource(int32_t track, int32_t start, int32_t stop);
    void AddOverlay(int32_t start, int32_t stop);
    void Build();
    bool Sane();
    void Mutate();
    void SetBox(TimelineView::RowKind kind, int index, TimelineView::Option option, bool on);
    int32_t Interesting();
    bool InsideAnItem(int32_t& a, int32_t& b);
    Command PickCommand();
    bool PickDrop(const std::array<Lane, 4>& lanes, ListDrop& drop);
    void SetSliders(bool& startShown, bool& endShown);
    void KeepEntryImage(const cHistoryData* newestBefore, const std::array<Lane, 4>& before);
    void UndoAndRedoAll();
};

int32_t TestEditingModel::OpenStream(const char* fixture, int16_t index)
{
    const int32_t file = Eng<ITWCoreRoot>().OpenFile(QmTest::Fixture(QString::fromLatin1(fixture)));
    const int32_t stream = file ? Eng<ITWMediaFiles>().OpenStream(file, index) : 0;
    if (stream) {
        m_streamIsVideo.insert(stream, Eng<ITWMediaFiles>().IsVideoStream(stream));
        Eng<ITWMediaFiles>().SelectStream(stream);
        m_streamLength.insert(stream, QmNumbers::CLng(Eng<ITWStreamInfo>().GetDuration() * 1000.0));
    }
    return stream;
}

void TestEditingModel::initTestCase()
{
    Engine = CreateObject(QStringLiteral("TWCore.TarnwickTimeline"));
    QVERIFY(moduleTarnwick::Init());
    Main()->Load();
    Main()->show();
    for (const char* name : {"video.avi", "redgreen.avi", "blue.avi", "greenkey.avi"})
        m_videoStreams << OpenStream(name, 0);
    m_audioStreams << OpenStream("audio.wav", 0) << OpenStream("video.avi", 1);
    for (int32_t s : m_videoStreams)
        QVERIFY(s != 0 && m_streamIsVideo.value(s));
    for (int32_t s : m_audioStreams)
        QVERIFY(s != 0 && !m_streamIsVideo.value(s));
    QCOMPARE(TrackCollection.Count(), 3);
    QVERIFY(OverlayTrack != 0);
}

void TestEditingModel::ClearTimeline()
{
    auto& tl = Tl();
    for (int32_t h : Handles()) {
        while (tl.RemoveTransition(h, 0)) {
        }
        while (tl.RemoveEffect(h, 0)) {
        }
        while (tl.RemoveSource(h, 0)) {
        }
    }
}

// Ranges on a 100 ms grid, in order: touching, or apart by a gap.
std::vector<std::pair<int32_t, int32_t>> TestEditingModel::Run(int count, int32_t from)
{
    std::vector<std::pair<int32_t, int32_t>> ranges;
    int32_t t = from;
    for (int i = 0; i < count; ++i) {
        if (i > 0)
            t += Chance(0.4) ? 0 : Pick(1, 6) * 100;
        const int32_t length = Pick(1, 10) * 100;
        ranges.emplace_back(t, t + length);
        t += length;
    }
    return ranges;
}

void TestEditingModel::AddSource(int32_t track, int32_t start, int32_t stop)
{
    auto& tl = Tl();
    const bool video = tl.IsVideoTrack(track);
    const int32_t stream = OneOf(video ? m_videoStreams : m_audioStreams);
    const int32_t length = stop - start;
    int32_t mediaStart = Chance(0.7) ? Pick(0, 20) * 100 : Pick(0, 2000);
    int32_t mediaLength = length;
    const int kind = Pick(0, 19);
    if (kind >= 11 && kind <= 16) {
        static const double factors[] = {2.0, 0.5, 1.5, 3.0, 0.25, 2.0 / 3.0};
        mediaLength = std::max(1, static_cast<int32_t>(std::lround(length * factors[Pick(0, 5)])));
    } else if (kind == 17 && length % 400 == 0) {
        // Rates of 8 and 40 put media times on halves of a millisecond: the rounding
        // to even decides.
        mediaLength = length % 800 == 0 && Chance(0.5) ? length / 8 : length / 40;
    } else if (kind > 16) {
        mediaLength = Pick(1, 60) * 50 + (Chance(0.5) ? Pick(0, 49) : 0);
    }
    // Within the stream, as the program lays out every source.
    const int32_t streamLength = m_streamLength.value(stream);
    mediaLength = std::min(mediaLength, streamLength);
    mediaStart = std::min(mediaStart, streamLength - mediaLength);
    const int16_t seq = tl.GetSourceCount(track);
    QVERIFY(tl.InsertSource(track, stream, seq, start, 0));
    QVERIFY(tl.SetSourceTimes(track, seq, start, stop));
    QVERIFY(tl.SetSourceMediaTimes(track, seq, mediaStart, mediaStart + mediaLength));
    tl.SetSourceStretchMode(track, seq, static_cast<int16_t>(Pick(0, 3)));
    tl.SetSourceSelected(track, seq, Chance(0.4));
}

void TestEditingModel::AddOverlay(int32_t start, int32_t stop)
{
    auto& tl = Tl();
    auto& key = Eng<ITWKeyTransition>();
    AddSource(OverlayTrack, start, stop);
    const int16_t seq = static_cast<int16_t>(tl.GetSourceCount(OverlayTrack) - 1);
    // The key transitions are named "DxtKey"; now and then a longer name shows which
    // name buffer each routine reads through.
    const QString name = Chance(0.85) ? QStringLiteral("DxtKey") : QStringLiteral("DxtKeyWithALongerNameThan20");
    // A paste of overlays cut with gaps between them puts the transitions closer
    // together than their sources; such a transition starts a little early here.
    const int32_t skew = Chance(0.1) ? Pick(1, 3) * 100 : 0;
    QVERIFY(tl.InsertTransition(OverlayTrack, name, seq, std::max(0, start - skew), stop - skew, 0));
    key.ClearKeyParameters(OverlayTrack, seq);
    key.SetKeyParameter(OverlayTrack, seq, QStringLiteral("KeyType"), 0);
    key.SetKeyColor(OverlayTrack, seq, static_cast<int16_t>(Pick(0, 255)), static_cast<int16_t>(Pick(0, 255)),
                    static_cast<int16_t>(Pick(0, 255)));
    tl.SetTransitionSelected(OverlayTrack, seq, tl.IsSourceSelected(OverlayTrack, seq));
}

void TestEditingModel::Build()
{
    ClearTimeline();
    auto& tl = Tl();
    if (Chance(0.03)) {
        // No sources at all; effects may still lie on the lane.
        if (Chance(0.5))
            QVERIFY(tl.InsertEffect(TrackCollection.Item(1), QStringLiteral("Blur"), 0, 200, 900, 0));
        return;
    }
    static const int weights[] = {0, 1, 1, 2, 2, 3, 3, 4, 4, 5, 6};
    for (int item = 1; item <= 3; ++item) {
        const int32_t track = TrackCollection.Item(item);
        for (const auto& [s, e] : Run(weights[Pick(0, 10)], Pick(0, 6) * 100))
            AddSource(track, s, e);
    }
    for (const auto& [s, e] : Run(weights[Pick(0, 8)], Pick(0, 10) * 100))
        AddOverlay(s, e);
    const int32_t video = TrackCollection.Item(1);
    static const QStringList names = {QStringLiteral("Fade"),   QStringLiteral("Pixelate"), QStringLiteral("Blur"),
                                      QStringLiteral("Wave"),   QStringLiteral("Emboss"),   QStringLiteral("Engrave"),
                                      QStringLiteral("EmbossAndEngrave")};
    int16_t seq = 0;
    for (const auto& [s, e] : Run(weights[Pick(0, 8)], Pick(0, 8) * 100)) {
        QVERIFY(tl.InsertEffect(video, OneOf(names), seq, s, e, 0));
        tl.SetEffectSelected(video, seq, Chance(0.4));
        ++seq;
    }
}

// Whether the timeline is one the commands are defined on: no track too long, and
// every source with a positive length on the timeline and in its media.
bool TestEditingModel::Sane()
{
    for (int32_t h : Handles()) {
        const Tarnwick::Track& t = EngineModel().At(h);
        if (t.sources.size() > 9 || t.effects.size() > 9 || t.transitions.size() > 9)
            return false;
        for (const auto& s : t.sources)
            if (s.stop <= s.start || s.mediaStop <= s.mediaStart || s.start < 0)
                return false;
    }
    return true;
}

// Keeps what the last command left, with fresh selected flags and now and then one
// more item at a track's end.
void TestEditingModel::Mutate()
{
    auto& tl = Tl();
    for (int32_t h : Handles()) {
        for (int16_t q = 0; q < tl.GetSourceCount(h); ++q)
            tl.SetSourceSelected(h, q, Chance(0.4));
        for (int16_t q = 0; q < tl.GetEffectCount(h); ++q)
            tl.SetEffectSelected(h, q, Chance(0.4));
        for (int16_t q = 0; q < tl.GetTransitionCount(h); ++q)
            tl.SetTransitionSelected(h, q, tl.IsSourceSelected(h, q));
    }
    if (Chance(0.3)) {
        const int item = Pick(1, 4);
        const int32_t track = item == 4 ? OverlayTrack : TrackCollection.Item(item);
        const int32_t end = tl.GetTrackDuration(track);
        const int32_t start = end + (Chance(0.5) ? 0 : Pick(1, 5) * 100);
        const int32_t stop = start + Pick(1, 8) * 100;
        if (track == OverlayTrack && tl.GetTransitionCount(track) == tl.GetSourceCount(track))
            AddOverlay(start, stop);
        else if (track != OverlayTrack)
            AddSource(track, start, stop);
    }
}

void TestEditingModel::SetBox(TimelineView::RowKind kind, int index, TimelineView::Option option, bool on)
{
    if (TimelineView::RowOption(kind, index, option) != on)
        TimelineView::SetRowOption(kind, index, option, on);
}

// A time where something happens: an item's edge, or a nearby point of the grid.
int32_t TestEditingModel::Interesting()
{
    std::set<int32_t> points = {0};
    for (const Lane& lane : ReadLanes()) {
        for (const Src& s : lane.sources)
            points.insert({s.start, s.stop});
        for (const Fx& f : lane.effects)
            points.insert({f.start, f.stop});
    }
    std::vector<int32_t> list(points.begin(), points.end());
    if (Chance(0.25))
        return Pick(0, 70) * 100;
    int32_t t = list[static_cast<size_t>(Pick(0, static_cast<int>(list.size()) - 1))];
    if (Chance(0.2))
        t += Chance(0.5) ? 100 : -100;
    return std::clamp(t, 0, 9000);
}

// Two points of the grid strictly inside one item (a source, effect or overlay at
// least 300 ms long), with a < b; false when there is none.
bool TestEditingModel::InsideAnItem(int32_t& a, int32_t& b)
{
    std::vector<std::pair<int32_t, int32_t>> items;
    for (const Lane& lane : ReadLanes()) {
        for (const Src& s : lane.sources)
            items.emplace_back(s.start, s.stop);
        for (const Fx& f : lane.effects)
            items.emplace_back(f.start, f.stop);
    }
    items.erase(std::remove_if(items.begin(), items.end(),
                               [](const auto& r) { return r.second - r.first < 300 || r.first % 100 != 0; }),
                items.end());
    if (items.empty())
        return false;
    const auto [s, e] = items[static_cast<size_t>(Pick(0, static_cast<int>(items.size()) - 1))];
    const int steps = (e - s) / 100 - 1; // grid points strictly inside
    a = s + Pick(1, steps - 1) * 100;
    b = a + Pick(1, std::max(1, (e - a) / 100 - 1)) * 100;
    if (b >= e)
        b = a;
    return a < b;
}

Command TestEditingModel::PickCommand()
{
    const int r = Pick(0, 199);
    const std::pair<int, Command> shares[] = {
        {28, Command::Cut},           {46, Command::Copy},         {64, Command::Delete},
        {78, Command::Crop},          {90, Command::CropSources},  {140, Command::Paste},
        {148, Command::Pack},         {155, Command::Restore},     {162, Command::Repeat},
        {172, Command::Split},        {176, Command::ClearEffects}, {180, Command::ClearOverlay},
        {184, Command::ClearTimeline}, {196, Command::Shuffle},     {198, Command::ToAudio1}};
    for (const auto& [below, command] : shares)
        if (r < below)
            return command;
    return Command::ToAudio2;
}

// A node dragged in the timeline list and the node it is dropped on: mostly within its
// own track, now and then onto the other sound track, else anywhere. False when the
// list has no item to drag.
bool TestEditingModel::PickDrop(const std::array<Lane, 4>& lanes, ListDrop& drop)
{
    const int counts[5] = {static_cast<int>(lanes[0].sources.size()), static_cast<int>(lanes[0].effects.size()),
                           static_cast<int>(lanes[3].sources.size()), static_cast<int>(lanes[1].sources.size()),
                           static_cast<int>(lanes[2].sources.size())};
    QList<int> filled;
    for (int lane = 0; lane < 5; ++lane)
        if (counts[lane] > 0)
            filled << lane;
    if (filled.isEmpty())
        return false;
    drop.dragLane = OneOf(filled);
    drop.dragPlace = Pick(1, counts[drop.dragLane]);
    const int r = Pick(0, 99);
    if (r < 60) {
        drop.dropLane = drop.dragLane;
        drop.dropPlace = Pick(1, counts[drop.dropLane]);
    } else if (r < 85 && drop.dragLane >= 3) {
        drop.dropLane = drop.dragLane == 3 ? 4 : 3;
        drop.dropPlace = Pick(0, counts[drop.dropLane]);
    } else {
        drop.dropLane = Pick(0, 4);
        drop.dropPlace = Pick(0, counts[drop.dropLane]);
    }
    return true;
}

// Places the selection sliders on two interesting times (start before end) and shows
// both, one or none; the position slider goes to another one. The edges are set 50 ms
// (half a slider) before the time, so that the edges the commands take land on it.
void TestEditingModel::SetSliders(bool& startShown, bool& endShown)
{
    using namespace moduleTimeline;
    // Now and then the view is scrolled: the edges count from the timeline's start.
    TimelineView::SetScrollValue(Chance(0.7) ? 0 : Pick(0, 30));
    ShowStartSelSlider(false);
    ShowEndSelSlider(false);
    int32_t a = Interesting();
    int32_t b = Interesting();
    if (a > b)
        std::swap(a, b);
    if (a == b && Chance(0.8))
        b = a + Pick(1, 10) * 100;
    if (Chance(0.2)) {
        int32_t ia = 0, ib = 0;
        if (InsideAnItem(ia, ib)) {
            a = ia;
            b = ib;
        }
    }
    SetSelSliderPosition(a - 50, true);
    SetSelSliderPosition(b - 50, false);
    const int r = Pick(0, 99);
    startShown = r < 50 || (r >= 80 && r < 90);
    endShown = r < 50 || r >= 90;
    if (startShown)
        ShowStartSelSlider(true);
    if (endShown)
        ShowEndSelSlider(true);
    int32_t position = Interesting();
    if (Chance(0.15)) {
        int32_t ia = 0, ib = 0;
        if (InsideAnItem(ia, ib))
            position = ia;
    }
    SetSliderPosition(position, false);
}

// A step that made a history entry: the timeline before it is what the entry holds, and
// after it what redo ends on, until a newer entry.
void TestEditingModel::KeepEntryImage(const cHistoryData* newestBefore, const std::array<Lane, 4>& before)
{
    using ModuleHistory::HistoryCollection;
    const cHistoryData* entry = ModuleHistory::HistoryEntry.get();
    if (entry == newestBefore)
        return;
    m_entryImages.insert(entry, before);
    m_newestImage = ReadLanes();
    if (m_entryImages.size() <= 4 * HistoryCollection.Count())
        return;
    QHash<const cHistoryData*, std::array<Lane, 4>> kept;
    for (const auto& held : HistoryCollection)
        kept.insert(held.get(), m_entryImages.value(held.get()));
    m_entryImages.swap(kept);
}

// Undoes everything the history holds, then redoes it all, one step at a time through
// the history's own routines (the menu's undo takes the list's rows away, which a redo
// then reads). Each step must give back the image of its entry, item for item: the
// timeline just before the entry's operation, or after the newest one.
void TestEditingModel::UndoAndRedoAll()
{
    using namespace ModuleHistory;
    const int n = HistoryCollection.Count();
    QVERIFY2(n <= HistoryLimit + 1, qPrintable(QStringLiteral("the history holds %1 entries").arg(n)));
    QList<QStringList> images; // by the history index each step reaches
    QList<bool> restorable;
    for (int k = 1; k <= n; ++k) {
        const auto kept = m_entryImages.constFind(HistoryCollection.Item(k).get());
        QVERIFY2(kept != m_entryImages.constEnd(), "a history entry that no step made");
        images << ImageLines(*kept, 10);
        restorable << Restorable(*kept);
    }
    images << ImageLines(m_newestImage, 20);
    restorable << Restorable(m_newestImage);

    int whole = 0, sourcesOnly = 0;
    auto compare = [&](const char* what) {
        QStringList expected = images[HistoryIndex];
        QStringList now = ImageLines(ReadLanes(), 260);
        // The sources come back as they were, whatever the rest.
        if (!restorable[HistoryIndex]) {
            expected = expected.filter(QStringLiteral(" source "));
            now = now.filter(QStringLiteral(" source "));
            ++sourcesOnly;
        } else {
            ++whole;
        }
        const QString difference = FirstDifference(now, expected, QStringLiteral("timeline: |image:    "));
        QVERIFY2(difference.isEmpty(), qPrintable(QStringLiteral("%1 to %2 of %3 entries:\n    %4\n  expected:\n%5")
                                                      .arg(QLatin1String(what))
                                                      .arg(HistoryIndex)
                                                      .arg(n)
                                                      .arg(difference, Indented(expected))));
    };
    const int inForce = HistoryIndex;
    QVERIFY2(inForce <= n, qPrintable(QStringLiteral("%1 operations in force, %2 entries").arg(inForce).arg(n)));
    while (CanUndo()) {
        Undo();
        compare("undo");
        if (QTest::currentTestFailed())
            return;
    }
    QCOMPARE(HistoryIndex, int16_t(0));
    while (CanRedo()) {
        Redo();
        compare("redo");
        if (QTest::currentTestFailed())
            return;
    }
    QCOMPARE(HistoryIndex, static_cast<int16_t>(n));
    qInfo("undo of %d entries and redo of %d: %d images compared whole, %d by their sources alone", inForce, n,
          whole, sourcesOnly);
}

void TestEditingModel::randomEditsFollowTheModel()
{
    const int seed = EnvInt("QM_EDIT_MODEL_SEED", 20240611);
    const int steps = EnvInt("QM_EDIT_MODEL_STEPS", 6000);
    const bool keepGoing = EnvInt("QM_EDIT_MODEL_KEEP_GOING", 0) != 0;
    const bool trace = EnvInt("QM_EDIT_MODEL_TRACE", 0) != 0;
    m_rng.seed(static_cast<unsigned>(seed));

    using TimelineView::Option;
    using TimelineView::RowKind;
    auto& tl = Tl();
    moduleEdit::ClearSourceClips();
    moduleEdit::ClearEffectClips();
    moduleEdit::ClearTransitionClips();
    Build();

    QElapsedTimer clock;
    clock.start();
    int mismatches = 0, undefined = 0, viaMenu = 0;
    QMap<QString, int> counts;
    for (int step = 0; step < steps; ++step) {
        if (Chance(0.45) || !Sane())
            Build();
        else
            Mutate();
        if (!Sane())
            Build();

        // Every track disabled: the edits do not ask, and the preview that each command
        // refreshes then has no media to decode, which keeps a step short.
        for (const TimelineView::Row& row : TimelineView::Rows())
            SetBox(row.kind, row.index, Option::Disable, true);

        // Locks and links.
        Boxes boxes;
        boxes.lockVideo = Chance(0.15);
        boxes.lockAudio1 = Chance(0.15);
        boxes.lockAudio2 = Chance(0.15);
        boxes.lockOverlay = Chance(0.15);
        boxes.lockEffect = Chance(0.15);
        boxes.linkEffect = Chance(0.8);
        SetBox(RowKind::Video, 0, Option::Lock, boxes.lockVideo);
        SetBox(RowKind::Audio, 0, Option::Lock, boxes.lockAudio1);
        SetBox(RowKind::Audio, 1, Option::Lock, boxes.lockAudio2);
        SetBox(RowKind::Overlay, 0, Option::Lock, boxes.lockOverlay);
        SetBox(RowKind::Effect, 0, Option::Lock, boxes.lockEffect);
        SetBox(RowKind::Effect, 0, Option::Link, boxes.linkEffect);
        for (int32_t h : Handles())
            tl.SetTrackLink(h, Chance(0.8));

        Inputs in;
        SetSliders(in.startShown, in.endShown);
        in.command = PickCommand();
        in.boxes = boxes;
        in.a = TimelineView::SelectionStart();
        in.b = TimelineView::SelectionEnd();
        in.position = TimelineView::SliderTime();
        QCOMPARE(TimelineView::SelLineShown(true), in.startShown);
        QCOMPARE(TimelineView::SelLineShown(false), in.endShown);

        const std::array<Lane, 4> before = ReadLanes();
        const Clipboard clipBefore = ReadClipboard();
        const Health healthBefore = CheckTimeline(m_streamLength);
        const cHistoryData* newestBefore = ModuleHistory::HistoryEntry.get();
        in.answerYes = Chance(0.7);
        if (in.command == Command::Shuffle && !PickDrop(before, in.drop))
            in.command = Command::Pack; // nothing in the list to drag

        // The program: through the menu when the menus offer the command, else the
        // routine itself. On an empty timeline, where the menus offer none of cut, copy,
        // delete and crop, the handler is run now and then all the same: it must leave
        // everything as it is.
        const QString menu = QString::fromLatin1(MenuName(in.command));
        Main()->EnableOrDisableMenuItems();
        QAction* item = Main()->Item(menu);
        const bool empty = std::all_of(before.begin(), before.end(), [](const Lane& l) { return l.sources.empty(); });
        in.throughMenu = (item && item->isEnabled()) || (empty && Main()->HasCommand(menu) && Chance(0.5));
        // The track commands and the list's drops are run as their handlers run them,
        // offered by the menus or not: they ask nothing before they act.
        if (!IsEdit(in.command))
            in.throughMenu = true;

        Reference model(before, clipBefore, in, m_streamIsVideo, m_streamLength);
        QString undefinedWhy;
        try {
            model.Run();
        } catch (const Undefined& u) {
            undefinedWhy = u.why;
        }

        if (in.command == Command::Shuffle) {
            // The list as the engine holds the timeline, then one node dropped on another.
            ModuleTreeView::UpdateTreeView();
            QTreeWidgetItem* root = frmTimeline::instance()->Controls()->tvwTimeline->topLevelItem(0);
            auto node = [root](int lane, int place) {
                QTreeWidgetItem* track = root->child(lane);
                return place == 0 ? track : track->child(place - 1);
            };
            ModuleTreeView::OnNodeDragDrop(node(in.drop.dragLane, in.drop.dragPlace),
                                           node(in.drop.dropLane, in.drop.dropPlace));
        } else if (in.throughMenu) {
            ++viaMenu;
            // The question before clearing the timeline is answered as the model says.
            if (model.messages.contains(QStringLiteral("Are you sure you want to clear the timeline?")))
                QmScript::AnswerMessage(in.answerYes ? QmMsgBox::Yes : QmMsgBox::No);
            Main()->RunCommand(menu);
        } else {
            // The routine alone, outside the handler that makes its history entry: the
            // count of operations in force that it raises is put back, so that the
            // history stays the one the commands made.
            const int16_t inForce = ModuleHistory::HistoryIndex;
            switch (in.command) {
            case Command::Cut: moduleEdit::EditCut(); break;
            case Command::Copy: moduleEdit::EditCopy(); break;
            case Command::Delete: moduleEdit::EditDelete(); break;
            case Command::Crop: moduleEdit::EditCrop(false); break;
            case Command::CropSources: moduleEdit::EditCrop(true); break;
            case Command::Paste: moduleEdit::EditPaste(); break;
            default: break;
            }
            ModuleHistory::HistoryIndex = inForce;
        }
        QVERIFY2(!InSelectionUpdate, "an edit left its re-entry guard set");
        const QStringList messages = QmTest::TakeMessageTexts();
        KeepEntryImage(newestBefore, before);
        // A drop stores the timeline as the newest image whatever it did, and redo ends
        // there: between the steps this test changes the timeline itself, as no user can.
        if (in.command == Command::Shuffle)
            m_newestImage = ReadLanes();

        if (!undefinedWhy.isEmpty()) {
            ++undefined;
            Build();
            continue;
        }
        counts[menu + (in.startShown && in.endShown ? QStringLiteral(" over selection") : QString())]++;

        const std::array<Lane, 4> after = ReadLanes();
        const Clipboard clipAfter = ReadClipboard();
        auto sliders = [](bool start, bool end) {
            return QStringLiteral("selection sliders: start %1, end %2")
                .arg(start ? QStringLiteral("shown") : QStringLiteral("hidden"),
                     end ? QStringLiteral("shown") : QStringLiteral("hidden"));
        };
        const QStringList programLines = Lines(after) + Lines(clipAfter, after)
                                         << sliders(TimelineView::SelHandleShown(true), TimelineView::SelHandleShown(false));
        const QStringList modelLines = Lines(model.lanes) + Lines(model.clip, model.lanes)
                                       << sliders(model.startShown, model.endShown);
        const QString difference = FirstDifference(programLines, modelLines);
        const QString faults =
            NewFaults(CheckTimeline(m_streamLength), Allowed(healthBefore, in, before, clipBefore, m_streamLength));
        const QString list = ListDifference(after);
        if (difference.isEmpty() && messages == model.messages && faults.isEmpty() && list.isEmpty())
            continue;

        ++mismatches;
        QString report;
        report += QStringLiteral("\nseed %1, step %2: %3 %4\n")
                      .arg(seed)
                      .arg(step)
                      .arg(menu, in.throughMenu ? QStringLiteral("(menu)") : QStringLiteral("(routine)"));
        report += QStringLiteral("  sliders: start %1, end %2; selection %3 to %4; position %5\n")
                      .arg(in.startShown ? QStringLiteral("shown") : QStringLiteral("hidden"),
                           in.endShown ? QStringLiteral("shown") : QStringLiteral("hidden"))
                      .arg(in.a)
                      .arg(in.b)
                      .arg(in.position);
        QStringList locks, links;
        if (boxes.lockVideo) locks << QStringLiteral("V");
        if (boxes.lockAudio1) locks << QStringLiteral("A1");
        if (boxes.lockAudio2) locks << QStringLiteral("A2");
        if (boxes.lockOverlay) locks << QStringLiteral("O");
        if (boxes.lockEffect) locks << QStringLiteral("effects");
        for (int i = 0; i < 4; ++i)
            if (before[static_cast<size_t>(i)].linked)
                links << QString::fromLatin1(kLaneNames[i]);
        if (boxes.linkEffect)
            links << QStringLiteral("effects");
        report += QStringLiteral("  locked: %1; linked: %2\n")
                      .arg(locks.isEmpty() ? QStringLiteral("none") : locks.join(u' '),
                           links.isEmpty() ? QStringLiteral("none") : links.join(u' '));
        report += QStringLiteral("  before:\n") + Indented(Lines(before) + Lines(clipBefore, before));
        if (in.command == Command::Shuffle)
            report += QStringLiteral("  dragged node %1 of list track %2 onto node %3 of list track %4\n")
                          .arg(in.drop.dragPlace)
                          .arg(in.drop.dragLane)
                          .arg(in.drop.dropPlace)
                          .arg(in.drop.dropLane);
        if (messages != model.messages)
            report += QStringLiteral("  messages shown: %1\n  messages expected: %2\n")
                          .arg(messages.join(QStringLiteral(" | ")), model.messages.join(QStringLiteral(" | ")));
        if (!faults.isEmpty())
            report += QStringLiteral("  left on the timeline:\n    %1\n").arg(faults);
        if (!list.isEmpty())
            report += QStringLiteral("  the timeline list: %1\n").arg(list);
        if (!difference.isEmpty())
            report += QStringLiteral("  first difference:\n    %1\n").arg(difference);
        if (!difference.isEmpty() || !faults.isEmpty()) {
            report += QStringLiteral("  program after:\n") + Indented(programLines);
            report += QStringLiteral("  model after:\n") + Indented(modelLines);
        }
        if (!keepGoing)
            QFAIL(qPrintable(report));
        qWarning("%s", qPrintable(report));
        Build();
    }
    QStringList summary;
    for (auto it = counts.cbegin(); it != counts.cend(); ++it)
        summary << QStringLiteral("%1 %2").arg(it.key()).arg(it.value());
    qInfo("%d steps (%d through the menus, %d left to the error trap) in %lld ms: %s", steps, viaMenu, undefined,
          static_cast<long long>(clock.elapsed()), qPrintable(summary.join(QStringLiteral(", "))));
    if (trace) {
        for (auto it = Hits().cbegin(); it != Hits().cend(); ++it)
            qInfo("  %6d  %s", it.value(), qPrintable(it.key()));
    }
    QVERIFY2(mismatches == 0,
             qPrintable(QStringLiteral("%1 steps differ from the model or leave faults").arg(mismatches)));
    UndoAndRedoAll();
}

QM_TEST_MAIN(TestEditingModel)
#include "test_editing_model.moc"
