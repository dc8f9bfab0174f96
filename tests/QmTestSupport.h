#pragma once

// What Quillmont's widget tests share: every folder the program writes to points
// into a temporary folder, message boxes, dialogues and modal forms answer from the
// script, and a box nobody expected fails the test instead of waiting.
#include "core/QmScript.h"
#include "core/QmShared.h"

#include <QApplication>
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
