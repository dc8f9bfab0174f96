// The engine's part of a project file: the timeline written as an MLT document and
// rebuilt from it item by item, in the same engine and in a fresh one whose files were
// opened anew; documents that do not fit refused without touching the timeline; and MLT's
// own melt, with Quillmont's module, rendering a saved project as the engine does.
#include "core/QmXml.h"
#include "engine/CreateObject.h"
#include "engine/ITWCoreRoot.h"
#include "engine/ITWKeyTransition.h"
#include "engine/ITWMediaFiles.h"
#include "engine/ITWProjectStore.h"
#include "engine/ITWTimeline.h"
#include "engine/tarnwick/MltServices.h"
#include "engine/tarnwick/TarnwickTimeline.h"
#include "engine/tarnwick/TimelineGraph.h"

#include <Mlt.h>

#include <QDir>
#include <QFileInfo>
#include <QMap>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <functional>

namespace {

QString Fixture(const char* name)
{
    return QStringLiteral(QM_FIXTURE_DIR "/") + QLatin1String(name);
}

// An engine with the program's four tracks, and the streams it opened by name.
struct Engine
{
    std::shared_ptr<ITWObject> object = CreateObject(QStringLiteral("TWCore.TarnwickTimeline"));
    ITWTimeline& tl = TWCast<ITWTimeline>(object.get());
    int32_t video = tl.CreateTrack(true);
    int32_t overlay = tl.CreateTrack(true);
    int32_t audio1 = tl.CreateTrack(false);
    int32_t audio2 = tl.CreateTrack(false);
    QMap<int32_t, QString> names; // stream handle -> "file#index"
    QMap<QString, int32_t> files;

    // Opens a file and all its streams, as the media list does.
    int32_t Open(const QString& path)
    {
        const int32_t file = TWCast<ITWCoreRoot>(object.get()).OpenFile(path);
        for (int16_t i = 0;; ++i) {
            const int32_t stream = TWCast<ITWMediaFiles>(object.get()).OpenStream(file, i);
            if (!stream)
                break;
            names[stream] = QFileInfo(path).fileName() + u'#' + QString::number(i);
        }
        files[QFileInfo(path).fileName()] = file;
        return file;
    }
    int32_t Stream(const char* file, int index = 0) const { return names.key(QLatin1String(file) + u'#' + QString::number(index)); }
    ITWProjectStore& Store() { return TWCast<ITWProjectStore>(object.get()); }
    ITWKeyTransition& Key() { return TWCast<ITWKeyTransition>(object.get()); }
    const Tarnwick::TimelineModel& Model() const { return dynamic_cast<TarnwickTimeline&>(*object).Model(); }

    // Every item of every track, with every field, streams by file name and number.
    QStringList Describe() const
    {
        QStringList lines;
        for (const auto& track : Model().Tracks()) {
            lines << QStringLiteral("track video=%1").arg(track->isVideo);
            for (const auto& s : track->sources)
                lines << QStringLiteral("  source %1 %2-%3 media %4-%5 stretch %6 selected %7")
                             .arg(names.value(s.stream, QStringLiteral("?%1").arg(s.stream)))
                             .arg(s.start).arg(s.stop).arg(s.mediaStart).arg(s.mediaStop).arg(s.stretchMode).arg(s.selected);
            for (const auto& e : track->effects)
                lines << QStringLiteral("  effect %1 %2-%3 selected %4").arg(e.name).arg(e.start).arg(e.stop).arg(e.selected);
            for (const auto& t : track->transitions) {
                QString parameters;
                for (const auto& [name, value] : t.parameters)
                    parameters += QStringLiteral(" %1=%2").arg(name).arg(value);
                lines << QStringLiteral("  transition %1 %2-%3 selected %4 key %5,%6,%7%8")
                             .arg(t.name).arg(t.start).arg(t.stop).arg(t.selected)
                             .arg(t.keyRed).arg(t.keyGreen).arg(t.keyBlue).arg(parameters);
            }
        }
        lines << QStringLiteral("frame %1x%2").arg(Model().FrameWidth()).arg(Model().FrameHeight());
        return lines;
    }
};

// A timeline with an item of every kind: sources at their own speed, slowed, hurried and
// cut, each stretch mode, a still, selected ones; all six effects; overlays with their
// key transitions and colours; sound on both sound tracks.
void Fill(Engine& e)
{
    for (const char* name : {"red.avi", "redgreen.avi", "wide.avi", "image.bmp", "greenkey.avi", "sine440.wav",
                             "sine1000.wav", "video.avi"})
        e.Open(Fixture(name));
    ITWTimeline& tl = e.tl;
    QVERIFY(tl.AppendSource(e.video, e.Stream("red.avi"), 0));                 // 0..2000
    QVERIFY(tl.AppendSource(e.video, e.Stream("redgreen.avi"), 2000));         // 2000..4000
    QVERIFY(tl.SetSourceTimes(e.video, 1, 2000, 5000));                        // slowed
    QVERIFY(tl.AppendSource(e.video, e.Stream("wide.avi"), 5000));
    tl.SetSourceStretchMode(e.video, 2, 2);
    QVERIFY(tl.InsertSource(e.video, e.Stream("redgreen.avi"), 3, 7000, 0));   // hurried and cut
    QVERIFY(tl.SetSourceTimes(e.video, 3, 7000, 7600));
    QVERIFY(tl.SetSourceMediaTimes(e.video, 3, 400, 1800));
    tl.SetSourceStretchMode(e.video, 3, 3);
    QVERIFY(tl.AppendSource(e.video, e.Stream("image.bmp"), -1));              // a still, 5 s
    tl.SetSourceStretchMode(e.video, 4, 1);
    tl.SetSourceSelected(e.video, 1, true);
    const char* effects[] = {"Fade", "Pixelate", "Blur", "Wave", "Emboss", "Engrave"};
    for (int i = 0; i < 6; ++i)
        QVERIFY(tl.AddEffectAt(e.video, QLatin1String(effects[i]), 300 + i * 1500, 1200 + i * 1500));
    tl.SetEffectSelected(e.video, 2, true);

    QVERIFY(tl.AppendSource(e.overlay, e.Stream("greenkey.avi"), 500));
    QVERIFY(tl.SetSourceTimes(e.overlay, 0, 500, 2500));
    QVERIFY(tl.AppendSource(e.overlay, e.Stream("video.avi"), 6000));
    for (int16_t seq = 0; seq < 2; ++seq) {
        int32_t start = 0, stop = 0;
        QVERIFY(tl.GetSourceTimes(e.overlay, seq, start, stop));
        QVERIFY(tl.AddTransitionAt(e.overlay, QStringLiteral("DxtKey"), start, stop));
        e.Key().ClearKeyParameters(e.overlay, seq);
        QVERIFY(e.Key().SetKeyParameter(e.overlay, seq, QStringLiteral("KeyType"), 0));
    }
    QVERIFY(e.Key().SetKeyColor(e.overlay, 0, 0, 255, 0));
    QVERIFY(e.Key().SetKeyColor(e.overlay, 1, 12, 34, 56));
    tl.SetTransitionSelected(e.overlay, 1, true);

    QVERIFY(tl.AppendSource(e.audio1, e.Stream("sine440.wav"), 0));
    QVERIFY(tl.AppendSource(e.audio1, e.Stream("video.avi", 1), 3000));
    QVERIFY(tl.AppendSource(e.audio2, e.Stream("sine1000.wav"), 1000));
    QVERIFY(tl.SetSourceMediaTimes(e.audio2, 0, 500, 1500));
    tl.SetFrameSize(320, 240);
}

// Every track emptied, as closing a project does.
void Empty(Engine& e)
{
    for (int32_t track : {e.video, e.overlay, e.audio1, e.audio2}) {
        while (e.tl.RemoveEffect(track, 0)) {
        }
        while (e.tl.RemoveTransition(track, 0)) {
        }
        while (e.tl.RemoveSource(track, 0)) {
        }
    }
}

// A document edited before it is read back.
QString Edited(const QString& path, const QString& name, const std::function<void(pugi::xml_node model)>& edit)
{
    pugi::xml_document document;
    if (!QmXml::Load(document, path))
        return {};
    edit(document.first_child().child("QuillmontTimeline"));
    const QString edited = QFileInfo(path).dir().filePath(name);
    QmXml::Save(document, edited);
    return edited;
}

int ErrorOf(const std::function<void()>& call)
{
    try {
        call();
    } catch (const QmError& e) {
        return e.Number();
    }
    return 0;
}

// The mean difference of two pictures over their channels, 0 to 255.
double MeanDifference(const QImage& a, const QImage& b)
{
    const QImage x = a.convertToFormat(QImage::Format_RGB32), y = b.convertToFormat(QImage::Format_RGB32);
    if (x.size() != y.size())
        return 255.0;
    double sum = 0;
    for (int row = 0; row < x.height(); ++row) {
        for (int col = 0; col < x.width(); ++col) {
            const QRgb p = x.pixel(col, row), q = y.pixel(col, row);
            sum += std::abs(qRed(p) - qRed(q)) + std::abs(qGreen(p) - qGreen(q)) + std::abs(qBlue(p) - qBlue(q));
        }
    }
    return sum / (3.0 * x.width() * x.height());
}

} // namespace

class TestTarnwickProject : public QObject
{
    Q_OBJECT

private slots:
    void roundTripRebuildsEveryItem();
    void documentIsOneMltRootBeforeAnythingElse();
    void documentsThatDoNotFitLeaveTheTimelineAsItWas();
    void meltRendersTheProjectAsTheEngineDoes();

private:
    QTemporaryDir m_folder;
};

void TestTarnwickProject::roundTripRebuildsEveryItem()
{
    Engine a;
    Fill(a);
    if (QTest::currentTestFailed())
        return;
    // A file whose source stays on the timeline after the file was closed.
    const int32_t closed = a.Open(Fixture("blue.avi"));
    QVERIFY(a.tl.AppendSource(a.video, a.Stream("blue.avi"), -1));
    TWCast<ITWMediaFiles>(a.object.get()).CloseStream(a.Stream("blue.avi"));
    QVERIFY(TWCast<ITWCoreRoot>(a.object.get()).CloseFile(closed));
    const QStringList before = a.Describe();
    const auto snapshot = a.Store().TakeSnapshot();

    const QString path = m_folder.filePath(QStringLiteral("round.qpj"));
    QVERIFY(a.Store().SaveProject(path));
    Empty(a);
    QVERIFY(!a.Store().TakeSnapshot()->SameAs(*snapshot));
    a.Store().LoadProject(path);
    QCOMPARE(a.Describe(), before);
    QVERIFY(a.Store().TakeSnapshot()->SameAs(*snapshot));

    // A fresh engine, its files opened again in the same order under other handles; the
    // closed file is read again from its path.
    Engine b;
    for (const char* name : {"red.avi", "redgreen.avi", "wide.avi", "image.bmp", "greenkey.avi", "sine440.wav",
                             "sine1000.wav", "video.avi"})
        b.Open(Fixture(name));
    b.tl.SetFrameSize(640, 480);
    b.Store().LoadProject(path);
    QStringList rebuilt = b.Describe();
    // The stream the engine read again has no name in b's table: it is told by its path.
    const auto& source = b.Model().Tracks()[0]->sources.back();
    QCOMPARE(TWCast<ITWMediaFiles>(b.object.get()).GetStreamFile(source.stream), 0); // not an open file
    rebuilt.replaceInStrings(QStringLiteral("?%1").arg(source.stream), QStringLiteral("blue.avi#0"));
    QCOMPARE(rebuilt, before);

    // A file found again in another folder under the same name takes its place.
    QTemporaryDir elsewhere;
    QVERIFY(QFile::copy(Fixture("red.avi"), elsewhere.filePath(QStringLiteral("red.avi"))));
    Engine c;
    c.Open(elsewhere.filePath(QStringLiteral("red.avi")));
    for (const char* name : {"redgreen.avi", "wide.avi", "image.bmp", "greenkey.avi", "sine440.wav", "sine1000.wav",
                             "video.avi"})
        c.Open(Fixture(name));
    c.Store().LoadProject(path);
    QCOMPARE(c.Model().Tracks()[0]->sources[0].stream, c.Stream("red.avi"));
}

void TestTarnwickProject::documentIsOneMltRootBeforeAnythingElse()
{
    Engine e;
    Fill(e);
    const QString path = m_folder.filePath(QStringLiteral("shape.qpj"));
    QVERIFY(e.Store().SaveProject(path));
    QFile file(path);
    QVERIFY(file.open(QIODevice::ReadOnly));
    const QByteArray text = file.readAll();
    QVERIFY2(text.startsWith("<mlt "), text.left(40).constData()); // no declaration, no comment
    pugi::xml_document document;
    QVERIFY(QmXml::Parse(document, text));
    QCOMPARE(std::distance(document.begin(), document.end()), 1);
    const pugi::xml_node mlt = document.first_child();
    QCOMPARE(QString::fromUtf8(mlt.attribute("producer").value()), QStringLiteral("timeline"));
    QVERIFY(mlt.child("profile") && mlt.child("tractor") && mlt.child("QuillmontTimeline"));
    // Media by path, in the order the files were opened.
    QCOMPARE(QString::fromUtf8(mlt.child("QuillmontTimeline").child("Media").attribute("path").value()),
             Fixture("red.avi"));
    // Writing again over the file leaves no second file behind.
    QVERIFY(e.Store().SaveProject(path));
    QCOMPARE(QDir(m_folder.path()).entryList({QStringLiteral("shape*")}, QDir::Files), QStringList{"shape.qpj"});
    // A folder that is not there, and a file that may not be written, are told by number.
    QCOMPARE(ErrorOf([&] { e.Store().SaveProject(m_folder.filePath(QStringLiteral("none/x.qpj"))); }), QmErr::PathNotFound);
    QVERIFY(QFile::setPermissions(path, QFile::ReadOwner));
    QCOMPARE(ErrorOf([&] { e.Store().SaveProject(path); }), QmErr::AccessDenied);
}

void TestTarnwickProject::documentsThatDoNotFitLeaveTheTimelineAsItWas()
{
    Engine e;
    Fill(e);
    const QString path = m_folder.filePath(QStringLiteral("fit.qpj"));
    QVERIFY(e.Store().SaveProject(path));
    const QStringList before = e.Describe();

    using Node = pugi::xml_node;
    const QList<std::pair<const char*, std::function<void(Node)>>> edits = {
        {"no model", [](Node model) { model.parent().remove_child(model); }},
        {"a fifth track", [](Node model) { model.append_copy(model.child("TimelineTrack")); }},
        {"tracks of other kinds", [](Node model) { model.child("TimelineTrack").attribute("video") = 0; }},
        {"a sound stream on the video track",
         [](Node model) { model.child("TimelineTrack").child("Source").attribute("media") = 5; }},
        {"a stream the file lacks", [](Node model) { model.child("TimelineTrack").child("Source").attribute("stream") = 3; }},
        {"a media number past the list", [](Node model) { model.child("TimelineTrack").child("Source").attribute("media") = 99; }},
        {"a time that is no number", [](Node model) { model.child("TimelineTrack").child("Source").attribute("start") = "soon"; }},
        {"a time past 32 bits", [](Node model) { model.child("TimelineTrack").child("Source").attribute("stop") = "4294967296"; }},
        {"a missing attribute", [](Node model) { model.child("TimelineTrack").child("Source").remove_attribute("mediaStop"); }},
        {"an effect name too long", [](Node model) { model.child("TimelineTrack").child("Effect").attribute("name") = "Fadefadefade"; }},
        {"an effect on a sound track",
         [](Node model) {
             Node audio = model.find_child_by_attribute("TimelineTrack", "video", "0");
             audio.append_copy(model.child("TimelineTrack").child("Effect"));
         }},
        {"a key colour past 16 bits",
         [](Node model) { model.child("TimelineTrack").next_sibling().child("Transition").attribute("red") = 40000; }},
        {"a frame size of 0", [](Node model) { model.attribute("width") = 0; }},
    };
    int n = 0;
    for (const auto& [what, edit] : edits) {
        const QString edited = Edited(path, QStringLiteral("edit%1.qpj").arg(n++), edit);
        QCOMPARE(ErrorOf([&] { e.Store().LoadProject(edited); }), QmErr::SubscriptOutOfRange);
        QVERIFY2(e.Describe() == before, what);
    }
    // A file only a closed stream named, gone since: not found.
    Engine f;
    const int32_t file = f.Open(Fixture("red.avi"));
    QVERIFY(QFile::copy(Fixture("blue.avi"), m_folder.filePath(QStringLiteral("gone.avi"))));
    const int32_t gone = f.Open(m_folder.filePath(QStringLiteral("gone.avi")));
    QVERIFY(f.tl.AppendSource(f.video, f.Stream("gone.avi"), 0));
    TWCast<ITWMediaFiles>(f.object.get()).CloseStream(f.Stream("gone.avi"));
    TWCast<ITWCoreRoot>(f.object.get()).CloseFile(gone);
    QVERIFY(f.Store().SaveProject(path));
    QVERIFY(QFile::remove(m_folder.filePath(QStringLiteral("gone.avi"))));
    Engine g;
    g.Open(Fixture("red.avi"));
    QCOMPARE(ErrorOf([&] { g.Store().LoadProject(path); }), QmErr::FileNotFound);
    QVERIFY(g.Describe().filter(QStringLiteral("source")).isEmpty());
    Q_UNUSED(file);
    // Not XML at all, and not there.
    QFile junk(m_folder.filePath(QStringLiteral("junk.qpj")));
    QVERIFY(junk.open(QIODevice::WriteOnly));
    junk.write("not a project <<<");
    junk.close();
    QCOMPARE(ErrorOf([&] { e.Store().LoadProject(junk.fileName()); }), QmErr::SubscriptOutOfRange);
    QCOMPARE(ErrorOf([&] { e.Store().LoadProject(m_folder.filePath(QStringLiteral("absent.qpj"))); }),
             QmErr::SubscriptOutOfRange);
    QCOMPARE(e.Describe(), before);
}

void TestTarnwickProject::meltRendersTheProjectAsTheEngineDoes()
{
    Engine e;
    Fill(e);
    if (QTest::currentTestFailed())
        return;
    const QString path = m_folder.filePath(QStringLiteral("render.qpj"));
    QVERIFY(e.Store().SaveProject(path));

    // The graph's description of a track reads back as it was written.
    {
        pugi::xml_document document;
        QVERIFY(QmXml::Load(document, path));
        const pugi::xml_node layer = document.first_child().find_child_by_attribute("producer", "id", "layer1");
        QVERIFY(layer);
        Mlt::Properties properties;
        for (pugi::xml_node property : layer.children("property"))
            properties.set(property.attribute("name").value(), property.text().get());
        Tarnwick::MltServices::TrackSpec track;
        QVERIFY(Tarnwick::MltServices::TrackFromProperties(properties.get_properties(), track));
        QCOMPARE(track.sources.size(), size_t{5});
        std::vector<std::pair<std::string, std::string>> written;
        for (pugi::xml_node property : layer.children("property")) {
            const std::string name = property.attribute("name").value();
            if (name == "sources" || name == "pieces" || name.rfind("source.", 0) == 0)
                written.emplace_back(name, property.text().get());
        }
        QVERIFY(Tarnwick::MltServices::TrackProperties(track) == written);
    }

    // MLT's modules and Quillmont's, in a folder of MLT's own shape.
    QTemporaryDir repository;
    for (const QFileInfo& module : QDir(QStringLiteral(QM_MLT_MODULEDIR)).entryInfoList({QStringLiteral("*.so")}))
        QVERIFY(QFile::link(module.absoluteFilePath(), repository.filePath(module.fileName())));
    QVERIFY(QFile::link(QStringLiteral(QM_MLT_QUILLMONT_MODULE), repository.filePath(QStringLiteral("libmltquillmont.so"))));
    QTemporaryDir frames;
    QProcess melt;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("MLT_REPOSITORY"), repository.path());
    // Debian's MLT brings modules on Qt 5, which melt must not load either.
    environment.insert(QStringLiteral("MLT_REPOSITORY_DENY"), QStringLiteral("libmltqt:libmltglaxnimate"));
    melt.setProcessEnvironment(environment);
    melt.setProcessChannelMode(QProcess::MergedChannels);
    melt.start(QStringLiteral(QM_MELT), {QStringLiteral("xml:") + path, QStringLiteral("-consumer"),
                                         QStringLiteral("avformat:") + frames.filePath(QStringLiteral("f%05d.png")),
                                         QStringLiteral("vcodec=png"), QStringLiteral("progressive=1"),
                                         // every frame, however long it takes: in real time MLT drops frames
                                         QStringLiteral("real_time=-1")});
    QVERIFY(melt.waitForFinished(180000));
    const QByteArray said = melt.readAll();
    QVERIFY2(melt.exitStatus() == QProcess::NormalExit && melt.exitCode() == 0, said.right(2000).constData());

    // As many frames as the engine renders to a movie, and the same pictures.
    const QStringList written = QDir(frames.path()).entryList({QStringLiteral("f*.png")}, QDir::Files, QDir::Name);
    const int32_t expected = Tarnwick::MsToFrame(e.Model().PlayedDuration());
    QCOMPARE(written.size(), expected);
    auto* engine = dynamic_cast<TarnwickTimeline*>(e.object.get());
    for (int frame : {0, 20, 40, 60, 100, 150, 180, 200, 250, expected - 1}) {
        const QImage theirs(frames.filePath(written[frame]));
        const QImage ours = engine->RenderFrame(Tarnwick::FrameToMs(frame));
        const double difference = MeanDifference(theirs, ours);
        QVERIFY2(difference < 1.5, qPrintable(QStringLiteral("frame %1 differs by %2: at the centre %3 against %4")
                                                   .arg(frame).arg(difference)
                                                   .arg(QString::number(theirs.pixel(160, 120), 16), QString::number(ours.pixel(160, 120), 16))));
    }
}

QTEST_GUILESS_MAIN(TestTarnwickProject)
#include "test_TarnwickProject.moc"
