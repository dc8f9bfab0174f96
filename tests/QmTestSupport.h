#pragma once

// What Quillmont's widget tests share: every folder the program writes to points
// into a temporary folder, message boxes, dialogues and modal forms answer from the
// script, and a box nobody expected fails the test instead of waiting. Also the main
// window, tracks and fixture streams the widget tests start from.
#include "core/QmScript.h"
#include "core/QmShared.h"
#include "core/QmStatus.h"
#include "engine/CreateObject.h"
#include "engine/ITWCoreRoot.h"
#include "engine/ITWKeyTransition.h"
#include "engine/ITWMediaFiles.h"
#include "engine/ITWTimeline.h"
#include "history/ModuleHistory.h"
#include "media/moduleTarnwick.h"
#include "shell/QmCommands.h"
#include "shell/mdiTarnwick.h"
#include "timeline/TimelineView.h"
#include "timeline/moduleTimeline.h"

#include <QApplication>
#include <QMap>
#include <QStringList>
#include <QTemporaryDir>
#include <QTest>

namespace QmTest {

inline QTemporaryDir& Root()
{
    static QTemporaryDir root;
    return root;
}

// Settings, error log, lock and temporary folder all inside Root().
inline void PrepareEnvironment()
{
    const QString root = Root().path();
    for (const char* sub : {"config", "data", "runtime", "tmp", "work"})
        QDir(root).mkpath(QString::fromLatin1(sub));
    qputenv("QUILLMONT_CONFIG_DIR", QFile::encodeName(root + QStringLiteral("/config")));
    qputenv("QUILLMONT_DATA_DIR", QFile::encodeName(root + QStringLiteral("/data")));
    qputenv("QUILLMONT_RUNTIME_DIR", QFile::encodeName(root + QStringLiteral("/runtime")));
    qputenv("TMPDIR", QFile::encodeName(root + QStringLiteral("/tmp")));
    qputenv("HOME", QFile::encodeName(root + QStringLiteral("/work")));
    // The desktop entry and the MIME type that every start writes go here too.
    QDir(root).mkpath(QStringLiteral("xdg-data"));
    qputenv("XDG_DATA_HOME", QFile::encodeName(root + QStringLiteral("/xdg-data")));
    qputenv("QT_QPA_PLATFORM", "offscreen");
    qunsetenv("QUILLMONT_SCRIPT_LOG");
}

inline void EnableScript()
{
    QmScript::Enable([](const QString& what) {
        QTest::qFail(qPrintable(QStringLiteral("unexpected: ") + what), __FILE__, __LINE__);
    });
}

inline QString Fixture(const QString& name)
{
    return QStringLiteral(QM_FIXTURE_DIR "/") + name;
}

// The texts of the message boxes shown since the last call, which are taken.
inline QStringList TakeMessageTexts()
{
    QStringList texts;
    for (const QmScript::ShownMessage& shown : QmScript::TakeMessages())
        texts << shown.text;
    return texts;
}

inline mdiTarnwick* Main()
{
    return mdiTarnwick::instance();
}

inline ITWTimeline& Tl()
{
    return QmShared::Eng<ITWTimeline>();
}

// The three tracks of TrackCollection, in the order the program makes them.
inline int32_t Video()
{
    return QmShared::TrackCollection.Item(1);
}

inline int32_t Audio1()
{
    return QmShared::TrackCollection.Item(2);
}

inline int32_t Audio2()
{
    return QmShared::TrackCollection.Item(3);
}

// A track's sources as "start-stop[mediaStart-mediaStop]", in list order.
inline QString Sources(int32_t track)
{
    QStringList out;
    int32_t s = 0, e = 0, ms = 0, me = 0;
    for (int16_t seq = 0; Tl().GetSourceTimes(track, seq, s, e); ++seq) {
        Tl().GetSourceMediaTimes(track, seq, ms, me);
        out << QStringLiteral("%1-%2[%3-%4]").arg(s).arg(e).arg(ms).arg(me);
    }
    return out.join(u' ');
}

// Its effects as "name start-stop".
inline QString Effects(int32_t track)
{
    QStringList out;
    int32_t s = 0, e = 0;
    for (int16_t seq = 0; Tl().GetEffectTimes(track, seq, s, e); ++seq)
        out << QStringLiteral("%1 %2-%3").arg(Tl().GetEffectName(track, seq, 20)).arg(s).arg(e);
    return out.join(u',');
}

// Its key transitions as "start-stop(red,green,blue)".
inline QString Transitions(int32_t track)
{
    QStringList out;
    auto& key = QmShared::Eng<ITWKeyTransition>();
    int32_t s = 0, e = 0;
    for (int16_t seq = 0; Tl().GetTransitionTimes(track, seq, s, e); ++seq)
        out << QStringLiteral("%1-%2(%3,%4,%5)")
                   .arg(s)
                   .arg(e)
                   .arg(key.GetKeyRed(track, seq))
                   .arg(key.GetKeyGreen(track, seq))
                   .arg(key.GetKeyBlue(track, seq));
    return out.join(u' ');
}

// The fixture's first stream, opened once per test program; 0 when the file won't open.
inline int32_t Stream(const char* fixture)
{
    static QMap<QString, int32_t> streams;
    const QString name = QString::fromLatin1(fixture);
    if (!streams.contains(name)) {
        const int32_t file = QmShared::Eng<ITWCoreRoot>().OpenFile(Fixture(name));
        streams[name] = file ? QmShared::Eng<ITWMediaFiles>().OpenStream(file, 0) : 0;
    }
    return streams[name];
}

// An empty timeline without history, the rows' boxes as new, the selection sliders
// hidden, the view and the position slider at the start.
inline void FreshTimeline()
{
    ModuleHistory::EmptyHistory();
    ModuleHistory::EmptyTimeline();
    ModuleHistory::StoreCurrentTLImage();
    moduleTimeline::ReInitLinkLockDisable();
    moduleTimeline::ShowSelSliders(false);
    TimelineView::SetScrollValue(0);
    moduleTimeline::SetSliderPosition(0, false);
}

// A stand-in for a command: it replaces the registered one, or is registered where
// Quillmont has none yet.
inline void StandIn(const QString& name, QmCommands::Command command)
{
    if (QmCommands::Has(name))
        QmCommands::Replace(name, std::move(command));
    else
        QmCommands::Register(name, std::move(command));
}

// A control of a panel by its design name ("imgLockVideo_0"); the test fails without it.
template <class Control = QWidget>
Control* Find(QWidget* panel, const QString& name)
{
    auto* control = panel->findChild<Control*>(name);
    if (!control)
        QTest::qFail(qPrintable(QStringLiteral("no control ") + name), __FILE__, __LINE__);
    return control;
}

// The engine, the program's modules and the main window shown at the given size, as the
// widget tests start. False, with the failure recorded, when any of it does not come up.
inline bool StartMainWindow(int width, int height)
{
    // The checks return from the lambda only, so that the caller can stop as well.
    [&] {
        QmShared::Engine = CreateObject(QStringLiteral("TWCore.TarnwickTimeline"));
        QVERIFY(moduleTarnwick::Init());
        Main()->Load();
        Main()->resize(width, height);
        Main()->show();
        QVERIFY(QTest::qWaitForWindowExposed(Main()));
    }();
    return !QTest::currentTestFailed();
}

} // namespace QmTest

#define QM_TEST_MAIN(TestObject)                                                                                    \
    int main(int argc, char* argv[])                                                                                \
    {                                                                                                               \
        QmTest::PrepareEnvironment();                                                                               \
        QApplication app(argc, argv);                                                                               \
        QmTest::EnableScript();                                                                                     \
        TestObject test;                                                                                            \
        const int failed = QTest::qExec(&test, argc, argv);                                                         \
        QmShared::Engine.reset(); /* its players stop before MLT closes at exit */                                  \
        return failed;                                                                                              \
    }
