#include "shell/QmScriptRun.h"

#include "core/QmDialogs.h"
#include "core/QmListView.h"
#include "core/QmScript.h"
#include "core/QmShared.h"
#include "core/QmTrap.h"
#include "core/QmVideoSurface.h"
#include "engine/ITWPreview.h"
#include "media/frmMediaList.h"
#include "preview/ModuleTWPreview.h"
#include "preview/frmPreview.h"
#include "project/ModuleRecovery.h"
#include "shell/mdiTarnwick.h"
#include "timeline/moduleTimeline.h"

#include <QApplication>
#include <QDateTime>
#include <QFile>
#include <QTimer>

#include <memory>

#include <sys/resource.h>

namespace QmScriptRun {

namespace {

struct Runner
{
    QStringList lines;
    int next = 0;
    int done = 0;
};

QString Now()
{
    return QString::number(QDateTime::currentMSecsSinceEpoch());
}

QString Digest()
{
    return QString::fromLatin1(ModuleRecovery::StateDigest());
}

QmMsgBox::Result Button(const QString& word)
{
    const QString w = word.toLower();
    return w == u"yes" ? QmMsgBox::Yes : w == u"no" ? QmMsgBox::No : w == u"cancel" ? QmMsgBox::Cancel : QmMsgBox::OK;
}

void Select(const QString& which)
{
    QmListView* list = frmMediaList::instance()->lvwMediaList;
    for (int row = 0; row < list->Count(); ++row)
        list->SetSelected(row, which == u"*" || (which == u"last" ? row == list->Count() - 1 : list->Text(row) == which));
}

// One line; the pause before the next, in ms.
int Step(Runner& runner, const QString& line)
{
    const QString verb = line.section(u' ', 0, 0);
    const QString rest = line.section(u' ', 1);
    if (verb == u"run") {
        mdiTarnwick::instance()->RunCommand(rest);
        QmScript::DropMessageAnswers(); // answers are for this command alone
        QmScript::Note(QStringLiteral("DONE\t%1\t%2\t%3\t%4")
                           .arg(++runner.done)
                           .arg(Now(), Digest(), ModuleRecovery::HoldsWork() ? QStringLiteral("work") : QStringLiteral("clean")));
    } else if (verb == u"file") {
        QmScript::AnswerDialog(QVariant::fromValue(QmDialogs::FileResult{rest, 1}));
    } else if (verb == u"answer") {
        QmScript::AnswerMessage(Button(rest));
    } else if (verb == u"select") {
        Select(rest);
    } else if (verb == u"slider") {
        moduleTimeline::SetSliderPosition(rest.toInt(), false);
    } else if (verb == u"wait") {
        return rest.toInt();
    } else if (verb == u"probe") {
        const int32_t position = ModuleTWPreview::PreviewBuilt ? QmShared::Eng<ITWPreview>().GetPosition() : 0;
        // The processor time of the whole program, every thread, in ms.
        rusage usage{};
        getrusage(RUSAGE_SELF, &usage);
        const qint64 cpuMs = (usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) * 1000LL
                             + (usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1000;
        QmScript::Note(QStringLiteral("PROBE\t%1\t%2\t%3\t%4")
                           .arg(Now())
                           .arg(position)
                           .arg(cpuMs)
                           .arg(frmPreview::instance()->picDisplay->PaintProbeLine()));
    } else if (verb == u"quit") {
        mdiTarnwick::instance()->close();
    }
    return 0;
}

void Next(std::shared_ptr<Runner> runner)
{
    if (runner->next >= runner->lines.size() || !mdiTarnwick::exists())
        return;
    int pause = 0;
    QmTrap::Run(QStringLiteral("QmScriptRun"), QStringLiteral("Step*"),
                [&] { pause = Step(*runner, runner->lines[runner->next++].trimmed()); });
    QTimer::singleShot(pause, qApp, [runner] { Next(runner); });
}

} // namespace

void StartFromEnvironment()
{
    const QString path = qEnvironmentVariable("QUILLMONT_SCRIPT_RUN");
    if (path.isEmpty() || !QmScript::Enabled())
        return;
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text))
        return;
    auto runner = std::make_shared<Runner>();
    for (const QString& line : QString::fromUtf8(file.readAll()).split(u'\n', Qt::SkipEmptyParts))
        runner->lines << line;
    QmScript::DropMessageAnswers();
    QmScript::Note(QStringLiteral("START\t%1\t%2").arg(Now(), Digest()));
    QTimer::singleShot(0, qApp, [runner] { Next(runner); });
}

} // namespace QmScriptRun
