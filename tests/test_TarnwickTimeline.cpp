// The timeline side of the engine: tracks, sources, effects, transitions and key
// parameters, driven through the ITW interfaces with real media streams; and how the
// engine object is created and hands out its interfaces.
#include "engine/CreateObject.h"
#include "engine/ITWCoreRoot.h"
#include "engine/ITWFilePreview.h"
#include "engine/ITWKeyTransition.h"
#include "engine/ITWMediaFiles.h"
#include "engine/ITWPreview.h"
#include "engine/ITWStreamInfo.h"
#include "engine/ITWTimeline.h"
#include "engine/tarnwick/TarnwickTimeline.h"

#include <QTest>

#include <random>
#include <set>
#include <vector>

namespace {

QString Fixture(const char* name)
{
    return QStringLiteral(QM_FIXTURE_DIR "/") + QLatin1String(name);
}

template <class Call>
int32_t ErrorNumberOf(Call&& call)
{
    try {
        call();
    } catch (const QmError& e) {
        return e.Number();
    }
    return 0;
}

// An interface that no engine object has.
class ITWElsewhere : public ITWObject
{
public:
    virtual void Nothing() = 0;
};

struct Times
{
    int32_t start, stop;
    bool operator==(const Times&) const = default;
};

} // namespace

class TestTarnwickTimeline : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void createsTheEngineByClassName();
    void handsOutEveryInterfaceOfItsOwn();
    void emptyTracksAnswerWithoutFailures();
    void appendSourcePlacesWholeStreams();
    void putsAStretchInPlaceHalfFilledFirst();
    void splitsASourceWithATransientOverlap();
    void addsAnOverlayWithItsKeyTransition();
    void addEffectAtFitsOrRefuses();
    void shiftsAndSelections();
    void keepsTrackAndTimelineOptions();
    void randomEditsMatchAPlainList();

private:
    std::shared_ptr<ITWObject> m_object;
    ITWTimeline* m_tl = nullptr;
    int32_t m_videoStream = 0; // 2 s of video from video.avi
    int32_t m_audioStream = 0; // its 2 s of sound
    int32_t m_wavStream = 0;   // 3 s of sound

    std::vector<Times> SourceTimes(int32_t track);
    std::vector<Times> EffectTimes(int32_t track);
};

void TestTarnwickTimeline::init()
{
    m_object = CreateObject(QStringLiteral("TWCore.TarnwickTimeline"));
    m_tl = &TWCast<ITWTimeline>(m_object.get());
    auto& root = TWCast<ITWCoreRoot>(m_object.get());
    auto& files = TWCast<ITWMediaFiles>(m_object.get());
    const int32_t avi = root.OpenFile(Fixture("video.avi"));
    const int32_t wav = root.OpenFile(Fixture("audio.wav"));
    QVERIFY(avi && wav);
    m_videoStream = files.OpenStream(avi, 0);
    m_audioStream = files.OpenStream(avi, 1);
    m_wavStream = files.OpenStream(wav, 0);
    QVERIFY(files.IsVideoStream(m_videoStream));
    QVERIFY(!files.IsVideoStream(m_audioStream));
}

std::vector<Times> TestTarnwickTimeline::SourceTimes(int32_t track)
{
    // Walk the way the program does: count up until ok is false, and check that the
    // count agrees.
    std::vector<Times> times;
    int32_t start = 0, stop = 0;
    for (int16_t seq = 0; m_tl->GetSourceTimes(track, seq, start, stop); ++seq)
        times.push_back({start, stop});
    if (static_cast<size_t>(m_tl->GetSourceCount(track)) != times.size())
        qWarning("GetSourceCount disagrees with the walk");
    return times;
}

std::vector<Times> TestTarnwickTimeline::EffectTimes(int32_t track)
{
    std::vector<Times> times;
    int32_t start = 0, stop = 0;
    for (int16_t seq = 0; m_tl->GetEffectTimes(track, seq, start, stop); ++seq)
        times.push_back({start, stop});
    return times;
}

void TestTarnwickTimeline::createsTheEngineByClassName()
{
    // The engine enters its class itself; the name is found in any letter case, and each
    // creation is a new engine.
    auto other = CreateObject(QStringLiteral("twcore.TARNWICKTIMELINE"));
    QVERIFY(other && other.get() != m_object.get());
    QCOMPARE(ErrorNumberOf([] { CreateObject(QStringLiteral("TWCore.NoSuchTimeline")); }), QmErr::CannotCreateObject);
    QCOMPARE(ErrorNumberOf([] { CreateObject(QString()); }), QmErr::CannotCreateObject);
    try {
        CreateObject(QStringLiteral("TWCore.TarnwickTimelin"));
        QFAIL("a name that is one letter short was taken");
    } catch (const QmError& e) {
        QCOMPARE(e.Description(), QStringLiteral("Can't create object TWCore.TarnwickTimelin"));
    }
}

void TestTarnwickTimeline::handsOutEveryInterfaceOfItsOwn()
{
    auto other = CreateObject(QStringLiteral("TWCore.TarnwickTimeline"));
    // Every interface from each engine: the same part whenever it is asked for, and no
    // part shared between interfaces or engines.
    const auto parts = [](ITWObject* object) {
        return std::vector<const void*>{
            &TWCast<ITWCoreRoot>(object),   &TWCast<ITWTimeline>(object),    &TWCast<ITWKeyTransition>(object),
            &TWCast<ITWMediaFiles>(object), &TWCast<ITWStreamInfo>(object), &TWCast<ITWFilePreview>(object),
            &TWCast<ITWPreview>(object)};
    };
    const std::vector<const void*> mine = parts(m_object.get()), theirs = parts(other.get());
    QCOMPARE(parts(m_object.get()), mine);
    std::set<const void*> distinct(mine.begin(), mine.end());
    distinct.insert(theirs.begin(), theirs.end());
    QCOMPARE(distinct.size(), mine.size() + theirs.size());

    // The parts of one engine share its files, streams and tracks; the other engine's
    // parts know none of them.
    auto& files = TWCast<ITWMediaFiles>(m_object.get());
    const int32_t avi = files.GetStreamFile(m_videoStream);
    QCOMPARE(TWCast<ITWCoreRoot>(m_object.get()).GetFirstStream(avi), m_videoStream);
    QVERIFY(files.SelectStream(m_videoStream));
    QVERIFY(TWCast<ITWStreamInfo>(m_object.get()).IsVideo());
    const int32_t track = m_tl->CreateTrack(true);
    QVERIFY(m_tl->AppendSource(track, m_videoStream, 0));
    QVERIFY(m_tl->AddTransitionAt(track, QStringLiteral("DxtKey"), 0, 1000));
    auto& key = TWCast<ITWKeyTransition>(m_object.get());
    QVERIFY(key.SetKeyColor(track, 0, 0, 255, 0));
    QCOMPARE(key.GetKeyGreen(track, 0), int16_t(255));
    QCOMPARE(TWCast<ITWPreview>(m_object.get()).GetDuration(), 0); // nothing built yet

    QCOMPARE(TWCast<ITWCoreRoot>(other.get()).GetFirstStream(avi), 0);
    QVERIFY(!TWCast<ITWMediaFiles>(other.get()).SelectStream(m_videoStream));
    QVERIFY(!TWCast<ITWStreamInfo>(other.get()).IsVideo());
    auto& otherTracks = TWCast<ITWTimeline>(other.get());
    const int32_t otherTrack = otherTracks.CreateTrack(true);
    QVERIFY(!otherTracks.AppendSource(otherTrack, m_videoStream, 0));
    QCOMPARE(ErrorNumberOf([&] { otherTracks.GetSourceCount(track); }), QmErr::InvalidArgument);

    // An interface the engine lacks, or no engine at all, is a type mismatch.
    QCOMPARE(ErrorNumberOf([&] { TWCast<ITWElsewhere>(m_object.get()); }), QmErr::TypeMismatch);
    QCOMPARE(ErrorNumberOf([] { TWCast<ITWTimeline>(nullptr); }), QmErr::TypeMismatch);
}

void TestTarnwickTimeline::emptyTracksAnswerWithoutFailures()
{
    const int32_t video = m_tl->CreateTrack(true);
    const int32_t audio = m_tl->CreateTrack(false);
    QVERIFY(video != 0 && audio != 0 && video != audio);
    QVERIFY(m_tl->IsVideoTrack(video));
    QVERIFY(!m_tl->IsVideoTrack(audio));

    int32_t start = -5, stop = -5;
    for (int32_t track : {video, audio}) {
        QCOMPARE(m_tl->GetSourceCount(track), int16_t(0));
        QCOMPARE(m_tl->GetTrackDuration(track), 0);
        // Callers pass count - 1 on an empty track.
        QVERIFY(!m_tl->GetSourceTimes(track, -1, start, stop));
        QVERIFY(!m_tl->GetSourceTimes(track, 0, start, stop));
        QVERIFY(!m_tl->GetEffectTimes(track, 0, start, stop));
        QVERIFY(!m_tl->GetTransitionTimes(track, -1, start, stop));
        QVERIFY(!m_tl->RemoveSource(track, 0));
        QVERIFY(!m_tl->RemoveEffect(track, 0));
        QVERIFY(!m_tl->RemoveTransition(track, 0));
        QVERIFY(!m_tl->SetSourceTimes(track, 0, 1, 2));
        QCOMPARE(m_tl->GetSourceStream(track, 0), 0);
        QCOMPARE(m_tl->GetEffectName(track, 0, 10), QString());
        QVERIFY(!m_tl->IsSourceSelected(track, 3));
        m_tl->SetSourceSelected(track, 3, true); // ignored
    }
    QCOMPARE(start, -5); // untouched when ok is false

    // One source: seq equal to the count is past the end.
    QVERIFY(m_tl->AppendSource(video, m_videoStream, 0));
    QVERIFY(m_tl->GetSourceTimes(video, 0, start, stop));
    QVERIFY(!m_tl->GetSourceTimes(video, 1, start, stop));

    // A handle that is no track is a failure status, not an ok of false.
    QCOMPARE(ErrorNumberOf([&] { m_tl->GetSourceCount(424242); }), QmErr::InvalidArgument);
    QCOMPARE(ErrorNumberOf([&] { m_tl->GetSourceTimes(0, 0, start, stop); }), QmErr::InvalidArgument);
}

void TestTarnwickTimeline::appendSourcePlacesWholeStreams()
{
    const int32_t video = m_tl->CreateTrack(true);
    const int32_t audio = m_tl->CreateTrack(false);

    QVERIFY(m_tl->AppendSource(video, m_videoStream, -1));
    QVERIFY(m_tl->AppendSource(video, m_videoStream, -1)); // right behind the first
    QVERIFY(m_tl->AppendSource(video, m_videoStream, 7000)); // leaves a gap
    QCOMPARE(SourceTimes(video), (std::vector<Times>{{0, 2000}, {2000, 4000}, {7000, 9000}}));
    QCOMPARE(m_tl->GetTrackDuration(video), 9000);

    int32_t mediaStart = -1, mediaStop = -1;
    QVERIFY(m_tl->GetSourceMediaTimes(video, 2, mediaStart, mediaStop));
    QCOMPARE(mediaStart, 0);
    QCOMPARE(mediaStop, 2000);
    QCOMPARE(m_tl->GetSourceStream(video, 1), m_videoStream);
    QCOMPARE(m_tl->GetSourceStretchMode(video, 1), int16_t(0));
    QVERIFY(!m_tl->IsSourceSelected(video, 0));

    // Sound goes on sound tracks only, pictures on picture tracks only.
    QVERIFY(!m_tl->AppendSource(video, m_audioStream, -1));
    QVERIFY(!m_tl->AppendSource(audio, m_videoStream, -1));
    QVERIFY(!m_tl->AppendSource(audio, 987654, -1)); // no such stream
    QVERIFY(m_tl->AppendSource(audio, m_wavStream, 1000));
    QVERIFY(m_tl->AppendSource(audio, m_audioStream, -1));
    QCOMPARE(SourceTimes(audio), (std::vector<Times>{{1000, 4000}, {4000, 6000}}));

    // A closed stream leaves its sources in place, and a stored timeline can still put
    // them back; it is gone from the media side.
    auto& files = TWCast<ITWMediaFiles>(m_object.get());
    QVERIFY(files.CloseStream(m_wavStream));
    QCOMPARE(m_tl->GetSourceStream(audio, 0), m_wavStream);
    QVERIFY(m_tl->AppendSource(audio, m_wavStream, 10000));
    QCOMPARE(SourceTimes(audio).back(), (Times{10000, 13000}));
    QVERIFY(!m_tl->AppendSource(video, m_wavStream, -1)); // still sound, never on a picture track
    QVERIFY(!files.CloseStream(m_wavStream));
    QVERIFY(!files.IsVideoStream(m_wavStream) && files.GetStreamFile(m_wavStream) == 0);
}

void TestTarnwickTimeline::putsAStretchInPlaceHalfFilledFirst()
{
    // Make room, insert with stop 0, then fill the times in (the paste order).
    const int32_t track = m_tl->CreateTrack(true);
    QVERIFY(m_tl->AppendSource(track, m_videoStream, -1));
    QVERIFY(m_tl->AppendSource(track, m_videoStream, -1));

    QVERIFY(m_tl->ShiftSources(track, 1, 500));
    QVERIFY(m_tl->InsertSource(track, m_videoStream, 1, 2000, 0));
    QCOMPARE(m_tl->GetSourceCount(track), int16_t(3));
    int32_t start = 0, stop = 0, mediaStart = -1, mediaStop = -1;
    QVERIFY(m_tl->GetSourceTimes(track, 1, start, stop)); // half filled, but there
    QCOMPARE(start, 2000);
    QVERIFY(m_tl->SetSourceTimes(track, 1, 2000, 2500));
    QVERIFY(m_tl->SetSourceMediaTimes(track, 1, 1200, 1700));
    m_tl->SetSourceStretchMode(track, 1, 2);

    QCOMPARE(SourceTimes(track), (std::vector<Times>{{0, 2000}, {2000, 2500}, {2500, 4500}}));
    QVERIFY(m_tl->GetSourceMediaTimes(track, 1, mediaStart, mediaStop));
    QCOMPARE(mediaStart, 1200);
    QCOMPARE(mediaStop, 1700);
    QCOMPARE(m_tl->GetSourceStretchMode(track, 1), int16_t(2));
    QCOMPARE(m_tl->GetSourceStretchMode(track, 2), int16_t(0));

    // A non-zero stop plays the stream from its start at its own speed.
    QVERIFY(m_tl->InsertSource(track, m_videoStream, 3, 6000, 6800));
    QVERIFY(m_tl->GetSourceMediaTimes(track, 3, mediaStart, mediaStop));
    QCOMPARE(mediaStart, 0);
    QCOMPARE(mediaStop, 800);
    // Inserting at the count appends; past it is refused.
    QVERIFY(!m_tl->InsertSource(track, m_videoStream, 5, 9000, 0));
    QVERIFY(!m_tl->InsertSource(track, m_videoStream, -1, 9000, 0));
}

void TestTarnwickTimeline::splitsASourceWithATransientOverlap()
{
    // The split of the editing commands: the right piece is inserted in front of the
    // original, then the left piece, then the original goes.
    const int32_t track = m_tl->CreateTrack(true);
    QVERIFY(m_tl->AppendSource(track, m_videoStream, 1000)); // 1000..3000, media 0..2000
    QVERIFY(m_tl->SetSourceTimes(track, 0, 1000, 5000));      // stretched to half speed

    int32_t s = 0, e = 0, ms = 0, me = 0;
    QVERIFY(m_tl->GetSourceTimes(track, 0, s, e));
    QVERIFY(m_tl->GetSourceMediaTimes(track, 0, ms, me));
    const int32_t at = 2000;
    const double rate = double(me - ms) / double(e - s);
    const auto mediaAt = static_cast<int32_t>(ms + (at - s) * rate);

    QVERIFY(m_tl->InsertSource(track, m_videoStream, 0, at, 0));
    QVERIFY(m_tl->SetSourceTimes(track, 0, at, e));
    QVERIFY(m_tl->SetSourceMediaTimes(track, 0, mediaAt, me));
    QVERIFY(m_tl->InsertSource(track, m_videoStream, 0, s, 0));
    QVERIFY(m_tl->SetSourceTimes(track, 0, s, at));
    QVERIFY(m_tl->SetSourceMediaTimes(track, 0, ms, mediaAt));
    // For a moment the original overlaps both halves.
    QCOMPARE(SourceTimes(track), (std::vector<Times>{{1000, 2000}, {2000, 5000}, {1000, 5000}}));
    QVERIFY(m_tl->RemoveSource(track, 2));

    QCOMPARE(SourceTimes(track), (std::vector<Times>{{1000, 2000}, {2000, 5000}}));
    QVERIFY(m_tl->GetSourceMediaTimes(track, 0, ms, me));
    QCOMPARE(ms, 0);
    QCOMPARE(me, 500);
    QVERIFY(m_tl->GetSourceMediaTimes(track, 1, ms, me));
    QCOMPARE(ms, 500);
    QCOMPARE(me, 2000);
    QCOMPARE(m_tl->GetTrackDuration(track), 5000);

    // Splitting in the other order Quillmont also uses: first half, then insert at
    // seq + 1 with the second half's times.
    QVERIFY(m_tl->SetSourceTimes(track, 1, 2000, 3500));
    QVERIFY(m_tl->InsertSource(track, m_videoStream, 2, 3500, 5000));
    QCOMPARE(SourceTimes(track), (std::vector<Times>{{1000, 2000}, {2000, 3500}, {3500, 5000}}));
}

void TestTarnwickTimeline::addsAnOverlayWithItsKeyTransition()
{
    auto& key = TWCast<ITWKeyTransition>(m_object.get());
    const int32_t overlay = m_tl->CreateTrack(true);

    // Append, then the key transition over the last source.
    for (int i = 0; i < 2; ++i) {
        QVERIFY(m_tl->AppendSource(overlay, m_videoStream, -1));
        const int16_t n = m_tl->GetSourceCount(overlay);
        int32_t start = 0, stop = 0;
        QVERIFY(m_tl->GetSourceTimes(overlay, n - 1, start, stop));
        QVERIFY(m_tl->AddTransitionAt(overlay, QStringLiteral("DxtKey"), start, stop));
        const int16_t m = m_tl->GetTransitionCount(overlay);
        QVERIFY(key.SetKeyParameter(overlay, m - 1, QStringLiteral("KeyType"), 0));
        QVERIFY(key.SetKeyColor(overlay, m - 1, int16_t(10 * i), 200, 255));
    }
    QCOMPARE(m_tl->GetTransitionCount(overlay), int16_t(2));
    int32_t start = 0, stop = 0;
    QVERIFY(m_tl->GetTransitionTimes(overlay, 1, start, stop));
    QCOMPARE(Times({start, stop}), Times({2000, 4000}));
    QCOMPARE(m_tl->GetTransitionName(overlay, 1, 20), QStringLiteral("DxtKey"));
    QCOMPARE(m_tl->GetTransitionName(overlay, 1, 3), QStringLiteral("Dxt")); // cut to the buffer
    QCOMPARE(key.GetKeyRed(overlay, 1), int16_t(10));
    QCOMPARE(key.GetKeyGreen(overlay, 1), int16_t(200));
    QCOMPARE(key.GetKeyBlue(overlay, 1), int16_t(255));
    QCOMPARE(key.GetKeyRed(overlay, 0), int16_t(0));

    // Clearing drops the colour with the parameters; then they are set again.
    key.ClearKeyParameters(overlay, 1);
    QCOMPARE(key.GetKeyBlue(overlay, 1), int16_t(0));
    QVERIFY(key.SetKeyColor(overlay, 1, 1, 2, 3));
    QCOMPARE(key.GetKeyGreen(overlay, 1), int16_t(2));

    // No such transition.
    QVERIFY(!key.SetKeyColor(overlay, 2, 1, 2, 3));
    QVERIFY(!key.SetKeyParameter(overlay, -1, QStringLiteral("KeyType"), 0));
    QCOMPARE(key.GetKeyRed(overlay, 5), int16_t(0));

    // Transitions go in by their start, and may overlap.
    QVERIFY(m_tl->AddTransitionAt(overlay, QStringLiteral("DxtKey"), 1000, 3000));
    QVERIFY(m_tl->GetTransitionTimes(overlay, 1, start, stop));
    QCOMPARE(Times({start, stop}), Times({1000, 3000}));
    QVERIFY(!m_tl->AddTransitionAt(overlay, QStringLiteral("DxtKey"), 3000, 3000));
    QVERIFY(m_tl->AddTransitionAt(overlay, QStringLiteral("DxtKey"), 100, -1));
    QVERIFY(m_tl->GetTransitionTimes(overlay, 1, start, stop));
    QCOMPARE(Times({start, stop}), Times({100, 100 + ITWTimeline::DefaultEffectLength}));
}

void TestTarnwickTimeline::addEffectAtFitsOrRefuses()
{
    const int32_t video = m_tl->CreateTrack(true);
    const int32_t audio = m_tl->CreateTrack(false);
    const QString fade = QStringLiteral("Fade");

    // Nothing to lie over yet: a default-length effect has no room.
    QVERIFY(!m_tl->AddEffectAt(video, fade, 0, -1));
    for (int i = 0; i < 5; ++i)
        QVERIFY(m_tl->AppendSource(video, m_videoStream, -1)); // 0..10000

    QVERIFY(m_tl->AddEffectAt(video, fade, 1000, -1));
    QCOMPARE(EffectTimes(video), (std::vector<Times>{{1000, 1000 + ITWTimeline::DefaultEffectLength}}));
    // Cut at the end of the last source.
    QVERIFY(m_tl->AddEffectAt(video, QStringLiteral("Blur"), 8000, -1));
    // Cut at the start of the next effect, and placed by time.
    QVERIFY(m_tl->AddEffectAt(video, QStringLiteral("Wave"), 0, -1));
    QCOMPARE(EffectTimes(video), (std::vector<Times>{{0, 1000}, {1000, 6000}, {8000, 10000}}));
    QCOMPARE(m_tl->GetEffectName(video, 2, 10), QStringLiteral("Blur"));

    // Refused: inside another effect, overlapping the next, past the end, empty.
    QVERIFY(!m_tl->AddEffectAt(video, fade, 5999, -1));
    QVERIFY(!m_tl->AddEffectAt(video, fade, 6000, 8001));
    QVERIFY(!m_tl->AddEffectAt(video, fade, 10000, -1));
    QVERIFY(!m_tl->AddEffectAt(video, fade, 7000, 7000));
    QVERIFY(!m_tl->AddEffectAt(video, fade, -10, 500));
    QVERIFY(!m_tl->AddEffectAt(audio, fade, 0, 500));
    QCOMPARE(m_tl->GetEffectCount(video), int16_t(3));

    // Touching neighbours fit; an explicit range is kept as given, even past the
    // last source, so that a stored timeline comes back exactly.
    QVERIFY(m_tl->AddEffectAt(video, QStringLiteral("Emboss"), 6000, 8000));
    QVERIFY(m_tl->AddEffectAt(video, QStringLiteral("Engrave"), 10000, 12000));
    QCOMPARE(EffectTimes(video),
             (std::vector<Times>{{0, 1000}, {1000, 6000}, {6000, 8000}, {8000, 10000}, {10000, 12000}}));

    // Names are at most 10 characters.
    QVERIFY(m_tl->InsertEffect(video, QStringLiteral("Pixelate and more"), 0, 20000, 21000, 0));
    QCOMPARE(m_tl->GetEffectName(video, 0, 260), QStringLiteral("Pixelate a"));
    QVERIFY(!m_tl->InsertEffect(audio, fade, 0, 0, 100, 0));
    QCOMPARE(m_tl->GetEffectCount(audio), int16_t(0));
}

void TestTarnwickTimeline::shiftsAndSelections()
{
    const int32_t track = m_tl->CreateTrack(true);
    for (int i = 0; i < 3; ++i)
        QVERIFY(m_tl->AppendSource(track, m_videoStream, -1));

    QVERIFY(m_tl->ShiftSources(track, 1, 250));
    QCOMPARE(SourceTimes(track), (std::vector<Times>{{0, 2000}, {2250, 4250}, {4250, 6250}}));
    QVERIFY(m_tl->ShiftSources(track, 3, 999)); // from the count: nothing to shift
    QVERIFY(!m_tl->ShiftSources(track, 4, 999));
    QVERIFY(!m_tl->ShiftSources(track, -1, 999));
    QVERIFY(m_tl->ShiftSources(track, 0, -250));
    QCOMPARE(SourceTimes(track), (std::vector<Times>{{-250, 1750}, {2000, 4000}, {4000, 6000}}));
    QCOMPARE(m_tl->GetTrackDuration(track), 6000);

    m_tl->SetSourceSelected(track, 1, true);
    QVERIFY(m_tl->IsSourceSelected(track, 1));
    QVERIFY(!m_tl->IsSourceSelected(track, 0));
    // The flag travels with its item when sequence numbers shift.
    QVERIFY(m_tl->RemoveSource(track, 0));
    QVERIFY(m_tl->IsSourceSelected(track, 0));
    m_tl->SetSourceSelected(track, 0, false);
    QVERIFY(!m_tl->IsSourceSelected(track, 0));

    QVERIFY(m_tl->AddEffectAt(track, QStringLiteral("Fade"), 2000, 3000));
    m_tl->SetEffectSelected(track, 0, true);
    QVERIFY(m_tl->IsEffectItemSelected(track, 0));
    QVERIFY(m_tl->ShiftEffects(track, 0, 100));
    QCOMPARE(EffectTimes(track), (std::vector<Times>{{2100, 3100}}));
    QVERIFY(m_tl->AddTransitionAt(track, QStringLiteral("DxtKey"), 0, 10));
    QVERIFY(m_tl->ShiftTransitions(track, 0, 5));
    int32_t start = 0, stop = 0;
    QVERIFY(m_tl->GetTransitionTimes(track, 0, start, stop));
    QCOMPARE(Times({start, stop}), Times({5, 15}));
}

void TestTarnwickTimeline::keepsTrackAndTimelineOptions()
{
    auto* engine = dynamic_cast<TarnwickTimeline*>(m_object.get());
    QVERIFY(engine);
    const int32_t track = m_tl->CreateTrack(false);
    QVERIFY(!m_tl->GetTrackLink(track));
    m_tl->SetTrackLink(track, true);
    QVERIFY(m_tl->GetTrackLink(track));
    m_tl->SetTrackDisabled(track, true);
    QVERIFY(engine->Model().At(track).disabled);
    QVERIFY(engine->Model().EffectsEnabled());
    m_tl->SetEffectsEnabled(false);
    QVERIFY(!engine->Model().EffectsEnabled());
    QCOMPARE(engine->Model().FrameWidth(), int16_t(320));
    m_tl->SetFrameSize(640, 480);
    QCOMPARE(engine->Model().FrameHeight(), int16_t(480));
    QCOMPARE(ErrorNumberOf([&] { m_tl->SetFrameSize(0, 480); }), QmErr::InvalidArgument);
}

void TestTarnwickTimeline::randomEditsMatchAPlainList()
{
    // A long random run of the edits the program makes, checked after every step
    // against a plain list of what the track should hold.
    struct Ref
    {
        int32_t stream, start, stop, mediaStart, mediaStop;
        int16_t mode;
        bool selected;
    };
    std::vector<Ref> ref;
    const int32_t track = m_tl->CreateTrack(true);
    std::mt19937 rng(20261122);
    auto pick = [&](int lo, int hi) { return std::uniform_int_distribution<int>(lo, hi)(rng); };

    for (int step = 0; step < 6000; ++step) {
        const int n = static_cast<int>(ref.size());
        const int op = pick(0, 8);
        const auto seq = static_cast<int16_t>(pick(-1, n + 1));
        const bool valid = seq >= 0 && seq < n;
        bool ok = false;
        bool expectOk = false;
        switch (op) {
        case 0: { // append behind the last source
            int32_t end = 0;
            for (const Ref& r : ref)
                end = std::max(end, r.stop);
            ok = m_tl->AppendSource(track, m_videoStream, -1);
            expectOk = true;
            ref.push_back({m_videoStream, end, end + 2000, 0, 2000, 0, false});
            break;
        }
        case 1: { // half-filled insert
            const int32_t start = pick(0, 50000);
            ok = m_tl->InsertSource(track, m_videoStream, seq, start, 0);
            expectOk = seq >= 0 && seq <= n;
            if (expectOk)
                ref.insert(ref.begin() + seq, {m_videoStream, start, 0, 0, 0, 0, false});
            break;
        }
        case 2:
            ok = m_tl->RemoveSource(track, seq);
            expectOk = valid;
            if (valid)
                ref.erase(ref.begin() + seq);
            break;
        case 3: { // shift from a seq
            const int32_t delta = pick(-3000, 3000);
            ok = m_tl->ShiftSources(track, seq, delta);
            expectOk = seq >= 0 && seq <= n;
            if (expectOk)
                for (size_t i = seq; i < ref.size(); ++i)
                    ref[i].start += delta, ref[i].stop += delta;
            break;
        }
        case 4: {
            const int32_t start = pick(0, 60000);
            const int32_t stop = start + pick(1, 9000);
            ok = m_tl->SetSourceTimes(track, seq, start, stop);
            expectOk = valid;
            if (valid)
                ref[seq].start = start, ref[seq].stop = stop;
            break;
        }
        case 5: {
            const int32_t ms = pick(0, 1000), me = pick(1000, 2000);
            ok = m_tl->SetSourceMediaTimes(track, seq, ms, me);
            expectOk = valid;
            if (valid)
                ref[seq].mediaStart = ms, ref[seq].mediaStop = me;
            break;
        }
        case 6: {
            const auto mode = static_cast<int16_t>(pick(0, 3));
            m_tl->SetSourceStretchMode(track, seq, mode);
            if (valid)
                ref[seq].mode = mode;
            ok = expectOk = true;
            break;
        }
        case 7: {
            const bool selected = pick(0, 1) == 1;
            m_tl->SetSourceSelected(track, seq, selected);
            if (valid)
                ref[seq].selected = selected;
            ok = expectOk = true;
            break;
        }
        default: { // a full insert with its own times
            const int32_t start = pick(0, 50000);
            const int32_t stop = start + pick(1, 5000);
            ok = m_tl->InsertSource(track, m_audioStream, seq, start, stop); // wrong kind: refused
            expectOk = false;
            break;
        }
        }
        QVERIFY2(ok == expectOk, qPrintable(QStringLiteral("step %1, op %2, seq %3").arg(step).arg(op).arg(seq)));

        // Compare everything, by the count and by the walk.
        QCOMPARE(m_tl->GetSourceCount(track), int16_t(ref.size()));
        int32_t duration = 0;
        for (int16_t i = 0; i < static_cast<int16_t>(ref.size()); ++i) {
            int32_t s = 0, e = 0, ms = 0, me = 0;
            QVERIFY(m_tl->GetSourceTimes(track, i, s, e));
            QVERIFY(m_tl->GetSourceMediaTimes(track, i, ms, me));
            const Ref& r = ref[i];
            QVERIFY2(s == r.start && e == r.stop && ms == r.mediaStart && me == r.mediaStop,
                     qPrintable(QStringLiteral("step %1 seq %2").arg(step).arg(i)));
            QCOMPARE(m_tl->GetSourceStream(track, i), r.stream);
            QCOMPARE(m_tl->GetSourceStretchMode(track, i), r.mode);
            QCOMPARE(m_tl->IsSourceSelected(track, i), r.selected);
            duration = std::max(duration, r.stop);
        }
        int32_t s = 0, e = 0;
        QVERIFY(!m_tl->GetSourceTimes(track, static_cast<int16_t>(ref.size()), s, e));
        QCOMPARE(m_tl->GetTrackDuration(track), duration);
    }
}

QTEST_GUILESS_MAIN(TestTarnwickTimeline)
#include "test_TarnwickTimeline.moc"
