#include "project/ModuleRecovery.h"

#include "core/QmMsgBox.h"
#include "core/QmPaths.h"
#include "core/QmShared.h"
#include "core/QmTrap.h"
#include "core/QmXml.h"
#include "engine/ITWProjectStore.h"
#include "history/ModuleHistory.h"
#include "project/ModuleProject.h"
#include "timeline/moduleTimeline.h"

#include <QApplication>
#include <QCryptographicHash>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLocale>
#include <QLockFile>
#include <QTimer>

#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>

using namespace QmShared;

namespace ModuleRecovery {

namespace {

const QString kModule = QStringLiteral("ModuleRecovery");

// What the copy says of itself: the project it belongs to, and when it was taken.
struct Particulars
{
    QString project;
    bool saved = false;
    QDateTime time;
    bool operator==(const Particulars& other) const { return project == other.project && saved == other.saved; }
};

// Everything a copy is made of, taken on the interface thread.
struct State
{
    std::shared_ptr<const ITWTimelineSnapshot> timeline;
    ModuleProject::ProjectView view;
    Particulars particulars;

    bool SameAs(const State& other) const
    {
        return timeline && other.timeline && timeline->SameAs(*other.timeline) && view == other.view
               && particulars == other.particulars;
    }
};

State Take()
{
    return {Eng<ITWProjectStore>().TakeSnapshot(), ModuleProject::CaptureView(),
            {ProjectFilePath, ProjectSaved, QDateTime::currentDateTime()}};
}

// The document of a state: the engine's, the program's elements, and, for a copy, its
// particulars. Runs on any thread.
QByteArray Document(const State& state, bool withParticulars)
{
    pugi::xml_document document;
    if (!QmXml::Parse(document, state.timeline->Document()))
        throw QmError(QmErr::Failed, QStringLiteral("The engine's document cannot be read back."));
    pugi::xml_node root = QmXml::Root(document);
    ModuleProject::AppendProjectElements(root, state.view);
    if (withParticulars) {
        pugi::xml_node particulars = root.append_child("RecoveryInfo");
        particulars.append_attribute("Project") = state.particulars.project.toUtf8().constData();
        particulars.append_attribute("Saved") = state.particulars.saved ? 1 : 0;
        particulars.append_attribute("Time") = state.particulars.time.toString(Qt::ISODate).toUtf8().constData();
    }
    return QmXml::Text(document);
}

// The worker that writes and removes the copy: it holds the newest job only, since a copy
// is the whole project and an older one is of no use once a newer one waits.
class Writer
{
public:
    Writer()
        : m_thread([this] { Loop(); })
    {
    }
    ~Writer()
    {
        {
            std::lock_guard lock(m_mutex);
            m_quit = true;
        }
        m_wake.notify_all();
        m_thread.join();
    }

    void Write(State state) { Submit(Job{std::move(state), false}); }
    void Remove() { Submit(Job{{}, true}); }
    void Flush()
    {
        std::unique_lock lock(m_mutex);
        m_idle.wait(lock, [this] { return !m_pending && !m_busy; });
    }
    // The last failure, once: for the interface thread to report.
    std::optional<QmError> TakeFailure()
    {
        std::lock_guard lock(m_mutex);
        return std::exchange(m_failure, std::nullopt);
    }

private:
    struct Job
    {
        State state;
        bool remove = false;
    };

    void Submit(Job job)
    {
        {
            std::lock_guard lock(m_mutex);
            m_pending = std::move(job);
        }
        m_wake.notify_all();
    }

    void Loop()
    {
        for (;;) {
            std::unique_lock lock(m_mutex);
            m_wake.wait(lock, [this] { return m_quit || m_pending; });
            if (!m_pending && m_quit)
                return;
            Job job = std::move(*m_pending);
            m_pending.reset();
            m_busy = true;
            lock.unlock();
            try {
                if (job.remove)
                    QFile::remove(CopyPath());
                else
                    QmXml::WriteFile(CopyPath(), Document(job.state, true));
            } catch (...) {
                lock.lock();
                m_failure = QmTrap::FromCurrentException();
                lock.unlock();
            }
            lock.lock();
            m_busy = false;
            m_idle.notify_all();
        }
    }

    std::mutex m_mutex;
    std::condition_variable m_wake, m_idle;
    std::optional<Job> m_pending;
    std::optional<QmError> m_failure;
    bool m_busy = false;
    bool m_quit = false;
    std::thread m_thread;
};

struct Watch
{
    std::unique_ptr<QLockFile> owner; // this Quillmont's hold on the folder
    std::unique_ptr<Writer> writer;
    QTimer* timer = nullptr;
    std::optional<State> written;  // what the copy holds (or will once the worker is done)
    std::optional<State> baseline; // the project as its file holds it: nothing to recover
};

Watch& W()
{
    static Watch watch;
    return watch;
}

QString FileIn(const QString& name)
{
    return Folder() + u'/' + name;
}

// A copy that must not be offered again, kept under a name of its own for the user.
QString SetAside(const QString& path)
{
    QString aside = FileIn(QStringLiteral("unreadable-%1.qpj").arg(QDateTime::currentDateTime().toString(QStringLiteral("yyyyMMdd-hhmmss"))));
    for (int n = 2; QFileInfo::exists(aside); ++n)
        aside = FileIn(QStringLiteral("unreadable-%1-%2.qpj").arg(QDateTime::currentDateTime().toString(QStringLiteral("yyyyMMdd-hhmmss"))).arg(n));
    if (!QFile::rename(path, aside))
        QFile::remove(path); // never offered again, whatever becomes of it
    return aside;
}

void SayUnreadable(const QString& aside)
{
    MsgBox(QStringLiteral("Quillmont did not close properly, and the copy of the work it kept then cannot be read. It "
                          "will not be offered again; it was set aside as \"") +
               aside + QStringLiteral("\"."),
           QmMsgBox::Icon::Exclamation);
}

// The particulars of a copy, when it holds a project; none when it cannot be read.
std::optional<Particulars> Read(const QString& path)
{
    pugi::xml_document document;
    if (!QmXml::Load(document, path) || std::string(document.first_child().name()) != "mlt"
        || !QmXml::FirstByTagName(document, "PreviewDimension") || !QmXml::FirstByTagName(document, "MediaList"))
        return std::nullopt;
    const pugi::xml_node particulars = QmXml::FirstByTagName(document, "RecoveryInfo");
    if (!particulars)
        return std::nullopt;
    Particulars read;
    read.project = QString::fromUtf8(particulars.attribute("Project").value());
    read.saved = particulars.attribute("Saved").as_int() == 1;
    read.time = QDateTime::fromString(QString::fromUtf8(particulars.attribute("Time").value()), Qt::ISODate);
    if (!read.time.isValid())
        read.time = QFileInfo(path).lastModified();
    return read;
}

// The work a run that did not end cleanly left, offered once. True when it was restored.
bool OfferRestore()
{
    // A restore that was under way when Quillmont stopped: whatever stopped it would stop
    // the next one too.
    for (const char* name : {"restoring.qpj", "restoring.xml"}) {
        if (QFileInfo::exists(FileIn(QString::fromLatin1(name))))
            SayUnreadable(SetAside(FileIn(QString::fromLatin1(name))));
    }
    if (!QFileInfo::exists(CopyPath()))
        return false;
    const std::optional<Particulars> copy = Read(CopyPath());
    if (!copy) {
        SayUnreadable(SetAside(CopyPath()));
        return false;
    }
    const QString on = copy->project.isEmpty() ? QStringLiteral("the untitled project")
                                               : u'"' + QFileInfo(copy->project).fileName() + u'"';
    const QmMsgBox::Result answer =
        MsgBox(QStringLiteral("Quillmont did not close properly. Restore the work on ") + on + QStringLiteral(" from ") +
                   QLocale().toString(copy->time, QLocale::ShortFormat) + QStringLiteral("?"),
               QmMsgBox::Icon::Question, QmMsgBox::Buttons::YesNo);
    if (answer != QmMsgBox::Yes) {
        QFile::remove(CopyPath());
        return false;
    }
    const QString restoring = FileIn(QStringLiteral("restoring.qpj"));
    if (!QFile::rename(CopyPath(), restoring))
        return false;
    if (!ModuleProject::RestoreProject(restoring, copy->project, copy->saved)) {
        MsgBox(QStringLiteral("The work from ") + QLocale().toString(copy->time, QLocale::ShortFormat) +
                   QStringLiteral(" could not be restored. Its copy was set aside as \"") + SetAside(restoring) +
                   QStringLiteral("\"."),
               QmMsgBox::Icon::Exclamation);
        return false;
    }
    QFile::remove(restoring);
    return true;
}

// Whether the project holds work its file does not: unsaved changes, or a state that is
// not the one last saved or opened (an undo after a save, say). An empty program holds
// none.
bool HoldsWork(const State& now)
{
    if (FileCollection.Count() == 0 && moduleTimeline::IsTimelineEmpty())
        return false;
    return ProjectModified || MediaListDirty || (W().baseline && !now.SameAs(*W().baseline));
}

} // namespace

QString Folder()
{
    const QString folder = QmPaths::UserDataFolder() + QStringLiteral("/recovery");
    QDir().mkpath(folder);
    return folder;
}

QString CopyPath()
{
    return FileIn(QStringLiteral("work.qpj"));
}

void StartUp(const QString& commandLine)
{
    bool restored = false;
    QmTrap::Run(kModule, QStringLiteral("StartUp"), [&] {
        auto owner = std::make_unique<QLockFile>(FileIn(QStringLiteral("owner.lock")));
        owner->setStaleLockTime(0); // a lock left by a run that died is taken over
        if (!owner->tryLock(0))
            return; // another Quillmont keeps its work here: not ours to touch
        W().owner = std::move(owner);
        // Half-written copies a stop left behind.
        for (const QString& left : QDir(Folder()).entryList({QStringLiteral("work.qpj.*")}, QDir::Files))
            QFile::remove(FileIn(left));
        restored = OfferRestore();
    });
    if (!restored)
        ModuleProject::OpenCommandLine(commandLine);
    if (!W().owner)
        return;
    W().writer = std::make_unique<Writer>();
    W().timer = new QTimer(qApp);
    W().timer->setInterval(WatchInterval);
    QObject::connect(W().timer, &QTimer::timeout, [] { Check(); });
    W().timer->start();
    if (!restored)
        W().baseline = Take();
    Check();
}

void Check()
{
    if (!W().writer || BusyOpening || ProjectLoadLock || InSelectionUpdate || ModuleHistory::UndoInProgress
        || ModuleHistory::RedoInProgress)
        return;
    QmTrap::Run(kModule, QStringLiteral("Check*"), [] {
        if (std::optional<QmError> failure = W().writer->TakeFailure())
            QmTrap::Report(kModule, QStringLiteral("WriteRecoveryCopy*"), *failure);
        State now = Take();
        if (!HoldsWork(now)) {
            if (!ProjectModified && !MediaListDirty)
                W().baseline = now;
            if (W().written) {
                W().writer->Remove();
                W().written.reset();
            }
            return;
        }
        if (W().written && now.SameAs(*W().written))
            return;
        W().written = now;
        W().writer->Write(std::move(now));
    });
}

void Discard()
{
    QmTrap::Run(kModule, QStringLiteral("Discard*"), [] {
        W().baseline = Take();
        W().written.reset();
        if (W().writer)
            W().writer->Remove();
    });
}

void Flush()
{
    if (W().writer)
        W().writer->Flush();
}

void Finish()
{
    if (!W().writer)
        return;
    if (W().timer) {
        W().timer->stop();
        delete W().timer;
        W().timer = nullptr;
    }
    W().writer->Remove();
    W().writer.reset(); // the worker ends once it has removed the copy
    W().written.reset();
    W().baseline.reset();
    W().owner.reset();
}

bool HoldsWork()
{
    return QmTrap::Value<bool>(kModule, QStringLiteral("HoldsWork*"), false, [] { return HoldsWork(Take()); });
}

QByteArray StateDocument()
{
    return Document(Take(), false);
}

QByteArray StateDigest()
{
    return QCryptographicHash::hash(StateDocument(), QCryptographicHash::Sha1).toHex();
}

} // namespace ModuleRecovery
