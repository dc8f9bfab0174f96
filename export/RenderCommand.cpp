#include "export/RenderCommand.h"

#include "core/QmError.h"
#include "core/QmShared.h"
#include "core/QmXml.h"
#include "core/moduleUtilities.h"
#include "engine/CreateObject.h"
#include "engine/ITWCoreRoot.h"
#include "engine/ITWMediaFiles.h"
#include "engine/ITWProfiles.h"
#include "engine/ITWProjectStore.h"
#include "engine/ITWSave.h"
#include "engine/ITWTimeline.h"
#include "export/SavedOptions.h"
#include "shell/ModuleSettings.h"

#include <QFileInfo>
#include <QThread>

#include <pugixml.hpp>

#include <algorithm>
#include <atomic>
#include <csignal>
#include <cstdio>
#include <unistd.h>

namespace RenderCommand {

namespace {

using QmShared::Eng;

// A render that cannot go on: the reason, for standard error.
struct Refusal
{
    QString reason;
};

[[noreturn]] void Refuse(const QString& reason)
{
    throw Refusal{reason};
}

void Say(const QString& text)
{
    std::fprintf(stderr, "%s\n", text.toLocal8Bit().constData());
    std::fflush(stderr);
}

std::atomic<bool> s_interrupted{false};

extern "C" void OnInterrupt(int)
{
    s_interrupted = true;
}

struct Request
{
    QString project;
    QString output;
    QString profile;
};

Request ReadArguments(const QStringList& arguments)
{
    Request request;
    QStringList plain;
    for (int i = 1; i < arguments.size(); ++i) {
        const QString& argument = arguments[i];
        if (argument == u"--render")
            continue;
        if (argument == u"--profile") {
            if (i + 1 >= arguments.size())
                Refuse(QStringLiteral("--profile needs the name of a profile."));
            request.profile = arguments[++i];
        } else if (argument.startsWith(QLatin1String("--profile="))) {
            request.profile = argument.mid(10);
        } else {
            plain << argument;
        }
    }
    if (plain.size() != 2)
        Refuse(QStringLiteral("usage: quillmont --render PROJECT.qpj OUTPUT.avi|OUTPUT.wmv [--profile NAME]"));
    request.project = QFileInfo(plain[0]).absoluteFilePath();
    request.output = QFileInfo(plain[1]).absoluteFilePath();
    return request;
}

// What the program keeps in a project besides the engine's timeline: the frame size and
// the media list, whose files the timeline's streams are numbered by.
struct ProjectFacts
{
    int16_t width = 0;
    int16_t height = 0;
    QStringList media;
};

ProjectFacts ReadProject(const QString& path)
{
    if (!QFileInfo(path).isFile())
        Refuse(QStringLiteral("\"%1\" is not there.").arg(path));
    pugi::xml_document document;
    if (!QmXml::Load(document, path))
        Refuse(QStringLiteral("\"%1\" is not a Quillmont project, or cannot be read.").arg(path));
    ProjectFacts facts;
    try {
        const pugi::xml_node dimension = QmXml::FirstByTagName(document, "PreviewDimension");
        const pugi::xml_node list = QmXml::FirstByTagName(document, "MediaList");
        if (!dimension || !list)
            Refuse(QStringLiteral("\"%1\" is not a Quillmont project.").arg(path));
        facts.width = static_cast<int16_t>(QmXml::Number(QmXml::AttributeAt(dimension, 0), 1, 4096));
        facts.height = static_cast<int16_t>(QmXml::Number(QmXml::AttributeAt(dimension, 1), 1, 4096));
        for (pugi::xml_node file : list.children())
            if (file.type() == pugi::node_element)
                facts.media << QmXml::Value(QmXml::AttributeAt(file, 0)).trimmed();
    } catch (const QmError&) {
        Refuse(QStringLiteral("\"%1\" is damaged: it holds what no project can.").arg(path));
    }
    return facts;
}

// The engine's tracks, made as the timeline panel makes them: the video track, the
// overlay, two sound tracks.
QList<int32_t> MakeTracks()
{
    auto& tl = Eng<ITWTimeline>();
    QList<int32_t> tracks;
    for (bool video : {true, true, false, false}) {
        const int32_t track = tl.CreateTrack(video);
        if (track == 0)
            Refuse(QStringLiteral("The engine cannot make the timeline's tracks."));
        tl.SetTrackLink(track, true);
        tracks << track;
    }
    return tracks;
}

void OpenMedia(const QStringList& media)
{
    auto& core = Eng<ITWCoreRoot>();
    auto& files = Eng<ITWMediaFiles>();
    for (const QString& path : media) {
        if (!QFileInfo(path).isFile())
            Refuse(QStringLiteral("File \"%1\" missing. Unable to open project.").arg(path));
        const int32_t file = core.OpenFile(path);
        if (file == 0)
            Refuse(QStringLiteral("\"%1\" cannot be opened. Unable to open project.").arg(path));
        for (int16_t index = 0; files.OpenStream(file, index) != 0; ++index) {
        }
    }
}

bool HoldsSomething(int32_t track)
{
    auto& tl = Eng<ITWTimeline>();
    return tl.GetSourceCount(track) > 0 || tl.GetEffectCount(track) > 0 || tl.GetTransitionCount(track) > 0;
}

// A profile by name, among the system's and the user's: its exact name, or empty.
bool ProfileExists(const QString& name)
{
    auto& profiles = Eng<ITWProfiles>();
    if (!profiles.InitProfileManager())
        return false;
    const bool found = profiles.OpenProfile(name);
    if (found)
        profiles.CloseProfile();
    profiles.ReleaseProfileManager();
    return found;
}

void Prepare(const Request& request, const QList<int32_t>& tracks)
{
    auto& save = Eng<ITWSave>();
    auto& tl = Eng<ITWTimeline>();
    SavedOptions::Read().ApplyTo(save);
    bool pictures = false, any = false;
    for (int32_t track : tracks) {
        if (!HoldsSomething(track))
            continue;
        save.AddSaveTrack(track);
        pictures = pictures || tl.IsVideoTrack(track);
        any = true;
    }
    if (!any)
        Refuse(QStringLiteral("The project's timeline is empty: there is nothing to render."));
    save.SetSaveEffects(true);
    save.SetSaveWholeTimeline(true);

    const QString type = QFileInfo(request.output).suffix().toLower();
    bool prepared = false;
    if (type == u"avi") {
        if (!request.profile.isEmpty())
            Refuse(QStringLiteral("--profile is for Windows Media files (.wmv, .wma, .asf)."));
        prepared = save.PrepareAviFile(request.output);
    } else if (type == u"wmv" || type == u"wma" || type == u"asf") {
        if (!request.profile.isEmpty()) {
            if (!ProfileExists(request.profile))
                Refuse(QStringLiteral("There is no profile named \"%1\".").arg(request.profile));
            // A save of pictures follows the video profile, one of sound only the audio one.
            if (pictures)
                save.SetVideoProfile(request.profile);
            else
                save.SetAudioProfile(request.profile);
        }
        prepared = save.PrepareWindowsMediaFile(request.output);
    } else {
        Refuse(QStringLiteral("\"%1\": Quillmont saves movies as .avi, or as Windows Media (.wmv, .wma, .asf).")
                   .arg(request.output));
    }
    if (!prepared) {
        const QString problem = save.GetSaveProblem(5000).trimmed();
        Refuse(problem.isEmpty() ? QStringLiteral("The compressors refuse the saved options.") : problem);
    }
}

QString Clock(int32_t ms)
{
    return moduleUtilities::MilliSecondsToTimetypeAsString(std::max(0, ms));
}

int Save(const Request& request)
{
    auto& save = Eng<ITWSave>();
    if (!save.StartSave())
        Refuse(QStringLiteral("The save cannot start."));
    const bool terminal = isatty(fileno(stderr));
    int shown = -1;
    // On a terminal the line is rewritten; in a log a line every tenth.
    auto show = [&](int32_t position, bool last) {
        const int32_t duration = std::max(1, save.GetSaveDuration());
        const int percent = static_cast<int>(100LL * std::clamp(position, 0, duration) / duration);
        if (terminal ? percent == shown : percent / 10 == shown / 10 && shown >= 0)
            return;
        shown = percent;
        std::fprintf(stderr, terminal ? "\rRendering %3d%% (%s of %s)" : "Rendering %3d%% (%s of %s)\n", percent,
                     Clock(position).toLocal8Bit().constData(), Clock(duration).toLocal8Bit().constData());
        if (terminal && last)
            std::fputc('\n', stderr);
        std::fflush(stderr);
    };
    bool stopping = false;
    show(0, false);
    while (save.GetSaveState() == ITWSave::Running) {
        if (s_interrupted && !stopping) {
            stopping = true;
            save.StopSave();
        }
        show(save.GetSavePosition(), false);
        QThread::msleep(100);
    }
    const int32_t state = save.GetSaveState();
    show(state == ITWSave::Complete ? save.GetSaveDuration() : save.GetSavePosition(), true);
    const QString problem = save.GetSaveProblem(5000).trimmed();
    if (stopping) {
        Say(QStringLiteral("Stopped: \"%1\" holds the movie up to %2.").arg(request.output, Clock(save.GetSavePosition())));
        return 130;
    }
    if (state != ITWSave::Complete) {
        Say(problem.isEmpty() ? QStringLiteral("The save failed.") : problem);
        return 1;
    }
    if (!problem.isEmpty()) {
        // The movie was written, but is not what was asked.
        Say(problem);
        return 1;
    }
    Say(QStringLiteral("Saved \"%1\" (%2).").arg(request.output, Clock(save.GetSaveDuration())));
    return 0;
}

} // namespace

bool Asked(const QStringList& arguments)
{
    return arguments.contains(QStringLiteral("--render"));
}

int Run(const QStringList& arguments, const QString& engineClass)
{
    std::signal(SIGINT, OnInterrupt);
    std::signal(SIGTERM, OnInterrupt);
    int code = 1;
    try {
        const Request request = ReadArguments(arguments);
        ModuleSettings::SetApplicationName(QStringLiteral("Quillmont 1.1"));
        const ProjectFacts facts = ReadProject(request.project);
        QmShared::Engine = CreateObject(engineClass);
        Eng<ITWTimeline>().SetFrameSize(facts.width, facts.height);
        const QList<int32_t> tracks = MakeTracks();
        OpenMedia(facts.media);
        try {
            Eng<ITWProjectStore>().LoadProject(request.project);
        } catch (const QmError& error) {
            if (error.Number() == QmErr::FileNotFound)
                Refuse(QStringLiteral("A media file of the project is missing (%1). Unable to open project.")
                           .arg(error.Description().section(QStringLiteral(": "), 1)));
            Refuse(QStringLiteral("\"%1\" is damaged: its timeline does not fit its media.").arg(request.project));
        }
        Prepare(request, tracks);
        code = Save(request);
    } catch (const Refusal& refusal) {
        Say(QStringLiteral("quillmont: ") + refusal.reason);
        code = 2;
    } catch (const QmError& error) {
        Say(QStringLiteral("quillmont: error %1: %2").arg(error.Number()).arg(error.Description()));
        code = 1;
    } catch (const std::exception& error) {
        Say(QStringLiteral("quillmont: %1").arg(QString::fromLocal8Bit(error.what())));
        code = 1;
    }
    if (QmShared::Engine) {
        Eng<ITWSave>().CloseSave();
        QmShared::Engine.reset();
    }
    std::signal(SIGINT, SIG_DFL);
    std::signal(SIGTERM, SIG_DFL);
    return code;
}

} // namespace RenderCommand
