// Projects: the file a save writes (the engine's document and the program's elements in
// the order of a first and a later save), the round trip of a timeline with every kind of
// item through save, close and open, attributes read by their position, the new project
// dialogue, missing media answered Yes, No and Cancel, every error path leaving the
// program empty, the save's errors, a save interrupted between its renames, the recent
// projects and the command line, and a few thousand mutated files opened without a crash,
// a hang or a report.
#include "QmTestSupport.h"

#include "core/QmDialogs.h"
#include "core/QmImageBox.h"
#include "core/QmListView.h"
#include "core/QmTrap.h"
#include "core/QmXml.h"
#include "engine/ITWKeyTransition.h"
#include "engine/ITWMediaFiles.h"
#include "engine/tarnwick/TarnwickTimeline.h"
#include "history/ModuleHistory.h"
#include "media/frmMediaList.h"
#include "project/ModuleProject.h"
#include "project/frmNewProject.h"
#include "shell/ModuleSettings.h"
#include "shell/QmMenuArray.h"
#include "timeline/TimelineControls.h"
#include "timeline/frmTimeline.h"
#include "timeline/moduleBookmarks.h"
#include "timeline/moduleTimeline.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDialog>
#include <QElapsedTimer>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRandomGenerator>
#include <QTreeWidget>

using namespace QmShared;
using QmTest::Main;
using QmTest::Tl;

namespace {

QStringList Said()
{
    const QStringList texts = QmTest::TakeMessageTexts();
    if (qEnvironmentVariableIsSet("QM_SAY") && !texts.isEmpty())
        qInfo() << "said" << texts;
    return texts;
}

void Run(const char* command)
{
    Main()->RunCommand(QString::fromLatin1(command));
}

QmListView* List()
{
    return frmMediaList::instance()->lvwMediaList;
}

QString Caption()
{
    return frmMediaList::instance()->windowTitle();
}

void AnswerFile(const QString& path)
{
    QmScript::AnswerDialog(QVariant::fromValue(QmDialogs::FileResult{path, 1}));
}

// Opens fixtures through the open dialogue, as a user does.
void OpenFixtures(const QStringList& names)
{
    QString answer = QStringLiteral(QM_FIXTURE_DIR);
    for (const QString& name : names)
        answer += QChar(u'\0') + name;
    if (names.size() == 1)
        answer = QmTest::Fixture(names.first());
    QmScript::AnswerDialog(QVariant::fromValue(QmDialogs::FileResult{answer, 4}));
    Run("mnuFileOpen");
}

void SelectFiles(const QStringList& names)
{
    for (int row = 0; row < List()->Count(); ++row)
        List()->SetSelected(row, names.contains(List()->Text(row)));
}

const Tarnwick::TimelineModel& Model()
{
    return dynamic_cast<TarnwickTimeline&>(*Engine).Model();
}

// Every item of every track with every field (streams by file name and number), the
// media list, and the view a project keeps.
QStringList Describe()
{
    QMap<int32_t, QString> names;
    for (int32_t file : FileCollection)
        for (int16_t i = 0;; ++i) {
            const int32_t stream = Eng<ITWMediaFiles>().OpenStream(file, i);
            if (!stream)
                break;
            names[stream] = moduleTarnwick::FileNameOf(file) + u'#' + QString::number(i);
        }
    QStringList lines;
    for (const auto& track : Model().Tracks()) {
        lines << QStringLiteral("track video=%1").arg(track->isVideo);
        for (const auto& s : track->sources)
            lines << QStringLiteral("  source %1 %2-%3 media %4-%5 stretch %6 selected %7")
                         .arg(names.value(s.stream, QStringLiteral("?")))
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
    for (int row = 0; row < List()->Count(); ++row)
        lines << QStringLiteral("row %1: %2").arg(List()->Text(row), moduleTarnwick::FileNameOf(FileCollection.Item(row + 1)));
    QStringList marks;
    for (int32_t time : moduleBookmarks::VisibleBookmarkTimes())
        marks << QString::number(time);
    lines << QStringLiteral("markers %1").arg(marks.join(u' '));
    lines << QStringLiteral("zoom %1").arg(ZoomFactor);
    lines << QStringLiteral("selection %1").arg(TimelineView::SelectionShown()
                                                    ? QStringLiteral("%1-%2").arg(TimelineView::SelSliderTime(true)).arg(TimelineView::SelSliderTime(false))
                                                    : QStringLiteral("hidden"));
    lines << QStringLiteral("frame %1x%2 engine %3x%4").arg(ProjectWidth).arg(ProjectHeight).arg(Model().FrameWidth()).arg(Model().FrameHeight());
    return lines;
}

// What is wrong with the empty state a failure or a close leaves; empty when nothing.
QString NotEmpty()
{
    QStringList wrong;
    if (FileCollection.Count() || StreamCollection.Count() || List()->Count())
        wrong << QStringLiteral("media");
    if (!moduleTimeline::IsTimelineEmpty() || Tl().GetEffectCount(QmTest::Video()) || Tl().GetTransitionCount(OverlayTrack))
        wrong << QStringLiteral("timeline");
    if (ModuleHistory::HistoryCollection.Count() || ModuleHistory::HistoryIndex)
        wrong << QStringLiteral("history");
    if (TimelineView::SelectionShown())
        wrong << QStringLiteral("selection");
    if (Caption() != u"Media List - Project: Untitled")
        wrong << Caption();
    if (!ProjectOpenFailed)
        wrong << QStringLiteral("a project is open");
    if (ProjectSaved)
        wrong << QStringLiteral("the project counts as saved");
    QTreeWidgetItem* root = frmTimeline::instance()->Controls()->tvwTimeline->topLevelItem(0);
    for (int i = 0; root && i < root->childCount(); ++i)
        if (root->child(i)->childCount())
            wrong << QStringLiteral("timeline list");
    return wrong.join(QStringLiteral(", "));
}

// The names of the root's children, in order, after the engine's own.
QStringList ProgramElements(const QString& path)
{
    pugi::xml_document document;
    QStringList names;
    if (!QmXml::Load(document, path))
        return {QStringLiteral("(unreadable)")};
    for (pugi::xml_node child : document.first_child().children()) {
        const QString name = QString::fromUtf8(child.name());
        if (name != u"profile" && name != u"producer" && name != u"tractor" && name != u"QuillmontTimeline")
            names << name;
    }
    return names;
}

QString Edit(const QString& path, const QString& to, const std::function<void(pugi::xml_node root)>& edit)
{
    pugi::xml_document document;
    QmXml::Load(document, path);
    edit(document.first_child());
    QmXml::Save(document, to);
    return to;
}

} // namespace

class TestProject : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();

    void newProjectDialogue();
    void saveCloseOpenRoundTrip();
    void attributesAreReadByPosition();
    void missingMediaAnsweredYesNoAndCancel();
    void everyErrorPathLeavesTheProgramEmpty();
    void saveErrorsAndSaveAs();
    void interruptedSaveIsOfferedBack();
    void recentProjectsCommandLineAndClosePrompt();
    void mutatedFilesNeverCrashHangOrReport();
    void closePromptsYesSaves(); // last: the main window closes

private:
    // A project with an item of every kind, saved at path; its description.
    QStringList MakeProject(const QString& path);
    void OpenByMenu(const QString& path);
    QString Folder(const QString& name) const { return m_folder.filePath(name); }

    QTemporaryDir m_folder;
    QStringList m_reported;
};

void TestProject::initTestCase()
{
    qputenv("SDL_AUDIODRIVER", "dummy");
    QmTrap::SetReporter([this](const QString& module, const QString& function, const QmError& error) {
        m_reported << module + u'.' + function + QStringLiteral(": ") + error.Description();
    });
    QVERIFY(QmTest::StartMainWindow(1400, 900));
}

void TestProject::init()
{
    // Each test starts from a program with no project, as at start.
    ModuleHistory::EmptyTimeline();
    moduleTarnwick::CloseAllMediaFiles();
    ModuleHistory::EmptyHistory();
    moduleBookmarks::RemoveBookmarks();
    TimelineView::SetSelection(SelStartPosition, SelEndPosition, false);
    TimelineView::SetZoom(10);
    ProjectWidth = 320;
    ProjectHeight = 240;
    Tl().SetFrameSize(320, 240);
    frmMediaList::instance()->setWindowTitle(QStringLiteral("Media List - Project: Untitled"));
    ProjectModified = MediaListDirty = ProjectSaved = ProjectOpenFailed = false;
    ProjectFilePath.clear();
    ModuleProject::ProjectStarted = false;
    Main()->EnableOrDisableMenuItems();
}

void TestProject::cleanup()
{
    const QStringList reported = std::exchange(m_reported, {});
    QCOMPARE(Said(), QStringList());
    QCOMPARE(QmScript::PendingMessageAnswers(), 0);
    QCOMPARE(reported, QStringList());
}

QStringList TestProject::MakeProject(const QString& path)
{
    OpenFixtures({QStringLiteral("video.avi"), QStringLiteral("audio.wav"), QStringLiteral("image.jpg"),
                  QStringLiteral("greenkey.avi"), QStringLiteral("redgreen.avi")});
    SelectFiles({QStringLiteral("video.avi"), QStringLiteral("image.jpg")});
    Run("mnuEditAddToTimeline");
    SelectFiles({QStringLiteral("audio.wav")});
    Run("mnuEditAddToTimeline");
    SelectFiles({QStringLiteral("greenkey.avi"), QStringLiteral("redgreen.avi")});
    Run("mnuEditAddToOverlay");
    moduleTimeline::SetSliderPosition(500, false);
    Run("mnuAddEffectBlur");
    moduleTimeline::SetSliderPosition(6000, false);
    Run("mnuAddEffectFade");
    [] { QCOMPARE(Said(), QStringList()); }();
    // What no command makes yet: a slowed source, a stretch mode, sound on Audio 2,
    // selections, an overlay's own key colour.
    auto& tl = Tl();
    tl.SetSourceTimes(QmTest::Video(), 0, 0, 3000);
    tl.SetSourceStretchMode(QmTest::Video(), 1, 2);
    tl.SetSourceSelected(QmTest::Video(), 1, true);
    tl.AppendSource(QmTest::Audio2(), Eng<ITWMediaFiles>().OpenStream(FileCollection.Item(2), 0), 1000);
    tl.SetSourceMediaTimes(QmTest::Audio2(), 0, 500, 2500);
    tl.SetEffectSelected(QmTest::Video(), 1, true);
    Eng<ITWKeyTransition>().SetKeyColor(OverlayTrack, 1, 12, 200, 34);
    // Three markers, the middle one removed; zoomed out; the selection shown.
    for (int32_t at : {1500, 4000, 6000}) {
        moduleTimeline::SetSliderPosition(at, false);
        Run("mnuToolsAddBookmark");
    }
    moduleBookmarks::SelectedBookmark = 2;
    Run("mnuToolsRemoveBookmark");
    Run("mnuToolsZoomOut");
    moduleTimeline::SetSliderPosition(2000, false);
    Run("mnuViewSelectionSliders");
    if (QTest::currentTestFailed())
        return {};
    const QStringList described = Describe();
    AnswerFile(path);
    Run("mnuFileSaveProject");
    return described;
}

void TestProject::OpenByMenu(const QString& path)
{
    AnswerFile(path);
    Run("mnuFileOpenProject");
}

void TestProject::newProjectDialogue()
{
    // The first New opens the dialogue at once.
    frmNewProject* seen = nullptr;
    QmScript::HandleModal([&](QDialog& dialog) {
        auto* form = qobject_cast<frmNewProject*>(&dialog);
        QVERIFY(form);
        seen = form;
        QComboBox* combo = QmTest::Find<QComboBox>(form, QStringLiteral("cboPreviewDimension"));
        QStringList entries;
        for (int i = 0; i < combo->count(); ++i)
            entries << combo->itemText(i);
        QCOMPARE(entries, QStringList({"160 x 120", "320 x 240", "640 x 480", "720 x 480", "800 x 600", "1024 x 768", "Custom"}));
        QCOMPARE(combo->currentText(), QStringLiteral("320 x 240"));
        auto* width = QmTest::Find<QLineEdit>(form, QStringLiteral("txtWidth"));
        auto* height = QmTest::Find<QLineEdit>(form, QStringLiteral("txtHeight"));
        auto* lock = QmTest::Find<QCheckBox>(form, QStringLiteral("chkLockAspectRatio"));
        QCOMPARE(QmTest::Find<QLineEdit>(form, QStringLiteral("txtPath"))->text(), WorkingFolder);
        QVERIFY(!width->isEnabled() && !lock->isEnabled());
        for (const char* name : {"cmdBrowse", "cmdDefault", "cmdOK", "cmdCancel", "cmdHelp"})
            QVERIFY(QmTest::Find<QPushButton>(form, QString::fromLatin1(name)));

        // A size from the list fills both boxes; Custom opens them; with the lock on one
        // follows the other at 4:3; what is no size goes back.
        combo->setCurrentText(QStringLiteral("640 x 480"));
        form->cboPreviewDimension_Click();
        QCOMPARE(width->text() + u'x' + height->text(), QStringLiteral("640x480"));
        combo->setCurrentText(QStringLiteral("Custom"));
        form->cboPreviewDimension_Click();
        QVERIFY(width->isEnabled() && lock->isEnabled());
        width->setText(QStringLiteral("400"));
        QCOMPARE(height->text(), QStringLiteral("300"));
        height->setText(QStringLiteral("x1"));
        QCOMPARE(height->text(), QStringLiteral("300"));
        height->setText(QStringLiteral("2000"));
        QCOMPARE(height->text(), QStringLiteral("300"));
        lock->setChecked(false);
        height->setText(QStringLiteral("250"));
        QCOMPARE(width->text(), QStringLiteral("400"));

        // The folder picker, cancelled and answered; Help; Default.
        QmScript::CancelDialog();
        QmTest::Find<QPushButton>(form, QStringLiteral("cmdBrowse"))->click();
        QmScript::AnswerDialog(m_folder.path() + u'/');
        QmTest::Find<QPushButton>(form, QStringLiteral("cmdBrowse"))->click();
        QCOMPARE(QmTest::Find<QLineEdit>(form, QStringLiteral("txtPath"))->text(), m_folder.path());
        const QList<QmScript::DialogRequest> asked = QmScript::TakeDialogs();
        QCOMPARE(asked.size(), 2);
        QCOMPARE(asked[0].title, QStringLiteral("Select a Folder"));
        QmTest::Find<QPushButton>(form, QStringLiteral("cmdHelp"))->click();
        QVERIFY(QmScript::TakeOpened().value(0).endsWith(QStringLiteral("3_4_1_Creating_New_Project.htm")));
        form->cmdDefault_Click();
        QCOMPARE(combo->currentText(), QStringLiteral("320 x 240"));
        QVERIFY(lock->isChecked());
        QCOMPARE(QmTest::Find<QLineEdit>(form, QStringLiteral("txtPath"))->text(), WorkingFolder);

        // OK with a custom size of fractions: whole pixels.
        combo->setCurrentText(QStringLiteral("Custom"));
        form->cboPreviewDimension_Click();
        height->setText(QStringLiteral("250"));
        QCOMPARE(width->text(), QString::number(250 * 320.0 / 240.0));
        QmTest::Find<QPushButton>(form, QStringLiteral("cmdOK"))->click();
    });
    frmMediaList::instance()->setWindowTitle(QStringLiteral("something else"));
    Run("mnuFileNewProject");
    QVERIFY(seen);
    QCOMPARE(ProjectWidth, int16_t{333});
    QCOMPARE(ProjectHeight, int16_t{250});
    QCOMPARE(Model().FrameWidth(), int16_t{333});
    QCOMPARE(Caption(), QStringLiteral("Media List - Project: Untitled"));
    QVERIFY(ModuleProject::ProjectStarted);

    // The next New first closes this project: a No to the question keeps all, and no
    // dialogue opens.
    OpenFixtures({QStringLiteral("video.avi")});
    QmScript::AnswerMessage(QmMsgBox::No);
    Run("mnuFileNewProject");
    QCOMPARE(Said(), QStringList{"Are you sure you want to close the current project?"});
    QCOMPARE(List()->Count(), 1);
    QVERIFY(!ModuleProject::CloseCancelled);
    // Yes, and No to saving: closed, and the dialogue comes; Cancel there changes nothing more.
    QmScript::AnswerMessage(QmMsgBox::Yes);
    QmScript::AnswerMessage(QmMsgBox::No);
    QmScript::HandleModal([](QDialog& dialog) { QmTest::Find<QPushButton>(&dialog, QStringLiteral("cmdCancel"))->click(); });
    Run("mnuFileNewProject");
    QCOMPARE(Said(),
             QStringList({"Are you sure you want to close the current project?", "Do you want to save your changes?"}));
    QCOMPARE(NotEmpty(), QString());
    QCOMPARE(ProjectWidth, int16_t{333});
}

void TestProject::saveCloseOpenRoundTrip()
{
    const QString path = Folder(QStringLiteral("round.qpj"));
    const QStringList first = MakeProject(path);
    QVERIFY(!first.isEmpty());
    QCOMPARE(QmScript::TakeDialogs().last().filter, QStringLiteral("Quillmont Project (QPJ)|*.qpj"));
    QCOMPARE(ProgramElements(path), QStringList({"MediaList", "PropertySettings", "ZoomFactor", "SelectionSliders",
                                                 "Bookmarks", "PreviewDimension"}));
    QVERIFY(ProjectSaved && !ProjectModified && !MediaListDirty);
    QCOMPARE(Caption(), QStringLiteral("Media List - Project: round.qpj"));
    QCOMPARE(Main()->mnuFileRP().Caption(0), path);
    QCOMPARE(QDir(m_folder.path()).entryList(QDir::Files), QStringList{"round.qpj"}); // nothing left beside it

    // A later save after a change writes all again, in its own order; the markers that
    // show are kept, the removed one not.
    Run("mnuToolsZoomOut");
    QVERIFY(ProjectModified);
    const QStringList second = Describe();
    Run("mnuFileSaveProject");
    QCOMPARE(ProgramElements(path), QStringList({"MediaList", "PropertySettings", "Bookmarks", "PreviewDimension",
                                                 "ZoomFactor", "SelectionSliders"}));
    QVERIFY(!ProjectModified);
    {
        pugi::xml_document document;
        QVERIFY(QmXml::Load(document, path));
        QStringList marks;
        for (pugi::xml_node mark : document.first_child().child("Bookmarks").children())
            marks << QStringLiteral("%1=%2").arg(mark.name(), mark.attribute("Position").value());
        QCOMPARE(marks, QStringList({"Bookmark_0=0", "Bookmark_1=1500", "Bookmark_2=6000"}));
    }

    // Close: the program empty; Open: everything back, item by item.
    QmScript::AnswerMessage(QmMsgBox::Yes);
    Run("mnuFileCloseProject");
    QCOMPARE(Said(), QStringList{"Are you sure you want to close the current project?"});
    QCOMPARE(NotEmpty(), QString());
    QCOMPARE(ZoomFactor, int16_t{0});
    OpenByMenu(path);
    QCOMPARE(Describe(), second);
    QCOMPARE(Caption(), QStringLiteral("Media List - Project: round.qpj"));
    QVERIFY(ProjectSaved && !ProjectModified && !ProjectOpenFailed);
    QCOMPARE(QDir(m_folder.path()).entryList(QDir::Files), QStringList{"round.qpj"});
    QCOMPARE(Main()->StatusPanel(QStringLiteral("sbr_1"))->text(), QStringLiteral("Done"));

    // Files added to the media list alone are appended to the file's list.
    MediaListDirty = true;
    moduleTarnwick::OpenResentFile(QmTest::Fixture(QStringLiteral("audio.mp3")));
    Run("mnuFileSaveProject");
    pugi::xml_document document;
    QVERIFY(QmXml::Load(document, path));
    QCOMPARE(std::distance(document.first_child().child("MediaList").begin(), document.first_child().child("MediaList").end()), 6);
    QCOMPARE(ModuleProject::SavedFileCount, int16_t{6});
    QVERIFY(!MediaListDirty);
}

void TestProject::attributesAreReadByPosition()
{
    const QString path = Folder(QStringLiteral("order.qpj"));
    QVERIFY(!MakeProject(path).isEmpty());
    QmScript::AnswerMessage(QmMsgBox::Yes);
    Run("mnuFileCloseProject");
    Said();

    // The same file with attributes in another order reads wrongly, without a word: the
    // key colour Red, Blue, Green taken by position; the frame's width and height
    // swapped; the selection's first attribute not 1, so hidden.
    const QString reordered = Edit(path, Folder(QStringLiteral("reordered.qpj")), [](pugi::xml_node root) {
        pugi::xml_node rgb = root.child("PropertySettings").last_child();
        rgb.remove_attribute("Index");
        rgb.append_attribute("Index") = 1; // now Red, Blue, Green, Index: read as Blue, Green, Index
        pugi::xml_node size = root.child("PreviewDimension");
        const int width = size.attribute("Width").as_int();
        size.remove_attribute("Width");
        size.append_attribute("Width") = width;
        pugi::xml_node sliders = root.child("SelectionSliders");
        const int visible = sliders.attribute("Visible").as_int();
        sliders.remove_attribute("Visible");
        sliders.append_attribute("Visible") = visible;
    });
    OpenByMenu(reordered);
    QVERIFY(!ProjectOpenFailed);
    const auto& keys = Model().At(OverlayTrack).transitions;
    QCOMPARE(keys.size(), size_t{2});
    // Stored Red 12, Blue 34, Green 200: read as red 34, blue 200, green 1 (the index).
    QCOMPARE(QStringLiteral("%1,%2,%3").arg(keys[1].keyRed).arg(keys[1].keyGreen).arg(keys[1].keyBlue), QStringLiteral("34,1,200"));
    QCOMPARE(QStringLiteral("%1x%2").arg(ProjectWidth).arg(ProjectHeight), QStringLiteral("240x320"));
    QVERIFY(!TimelineView::SelectionShown());
    // Src as the only attribute of File is safe however it is placed.
    QCOMPARE(List()->Count(), 5);
}

void TestProject::missingMediaAnsweredYesNoAndCancel()
{
    // A project whose sound file was moved to another folder.
    QTemporaryDir media;
    const QString moved = media.filePath(QStringLiteral("sine440.wav"));
    QVERIFY(QFile::copy(QmTest::Fixture(QStringLiteral("sine440.wav")), moved));
    moduleTarnwick::OpenResentFile(QmTest::Fixture(QStringLiteral("video.avi")));
    moduleTarnwick::OpenResentFile(moved);
    SelectFiles({QStringLiteral("video.avi"), QStringLiteral("sine440.wav")});
    Run("mnuEditAddToTimeline");
    const QString path = Folder(QStringLiteral("missing.qpj"));
    AnswerFile(path);
    Run("mnuFileSaveProject");
    const QStringList saved = Describe();
    QmScript::AnswerMessage(QmMsgBox::Yes);
    Run("mnuFileCloseProject");
    Said();
    QVERIFY(QFile::rename(moved, media.filePath(QStringLiteral("elsewhere.wav"))));
    const QString notFound = QStringLiteral("File \"") + moved +
                             QStringLiteral("\" not found. Do you want to search for this file yourself?");

    // No: the project is not opened, the program is empty, the file keeps its name.
    QmScript::AnswerMessage(QmMsgBox::No);
    OpenByMenu(path);
    QCOMPARE(Said(),
             QStringList({notFound, QStringLiteral("File \"") + moved + QStringLiteral("\" missing. Unable to open project.")}));
    QCOMPARE(NotEmpty(), QString());
    QVERIFY(QFile::exists(path) && !QFile::exists(Folder(QStringLiteral("missing.xml"))));

    // Yes, then Cancel in the search.
    QmScript::AnswerMessage(QmMsgBox::Yes);
    AnswerFile(path);
    QmScript::CancelDialog();
    Run("mnuFileOpenProject");
    QCOMPARE(Said(),
             QStringList({notFound, QStringLiteral("Unable to open project. One or more files in the project were not found.")}));
    QCOMPARE(NotEmpty(), QString());
    QVERIFY(QFile::exists(path));

    // Yes: a file of another name is refused, the same name in another folder taken.
    QVERIFY(QFile::rename(media.filePath(QStringLiteral("elsewhere.wav")), Folder(QStringLiteral("sine440.wav"))));
    QmScript::TakeDialogs();
    QmScript::AnswerMessage(QmMsgBox::Yes);
    AnswerFile(path);
    AnswerFile(QmTest::Fixture(QStringLiteral("sine1000.wav")));
    AnswerFile(Folder(QStringLiteral("sine440.wav")));
    Run("mnuFileOpenProject");
    QCOMPARE(Said(), QStringList({notFound, QStringLiteral("Please select the required file.")}));
    const QList<QmScript::DialogRequest> dialogs = QmScript::TakeDialogs();
    QCOMPARE(dialogs.size(), 3);
    QCOMPARE(dialogs[1].filter, QStringLiteral("All supported Media Files|*.aiff;*.asf;*.avi;*.mpeg;*.mpg;*.wmv;*.au;*.midi;"
                                               "*.mid;*.mp3;*.wav;*.wma;*.bmp;*.gif;*.jpeg;*.jpg;*.tga|All Files (*.*)|*.*"));
    QStringList expected = saved;
    expected.replaceInStrings(moved, Folder(QStringLiteral("sine440.wav")));
    QCOMPARE(Describe(), expected);
    QVERIFY(!ProjectOpenFailed);
}

void TestProject::everyErrorPathLeavesTheProgramEmpty()
{
    const QString path = Folder(QStringLiteral("good.qpj"));
    QVERIFY(!MakeProject(path).isEmpty());
    QmScript::AnswerMessage(QmMsgBox::Yes);
    Run("mnuFileCloseProject");
    Said();

    auto write = [&](const QString& name, const QByteArray& bytes) {
        QmXml::WriteFile(Folder(name), bytes);
        return Folder(name);
    };
    const QString invalid = QStringLiteral("Invalid file format.");
    const QString unexpected = QStringLiteral("Unable to open project. Unexpected error.");
    struct Case
    {
        QString what;
        QString file;
        QStringList messages;
    };
    const QList<Case> cases = {
        {"not XML", write(QStringLiteral("text.qpj"), "This is a note, not a project.\n"), {invalid}},
        {"empty", write(QStringLiteral("empty.qpj"), ""), {invalid}},
        {"XML of something else", write(QStringLiteral("other.qpj"), "<playlist><item/></playlist>"), {invalid}},
        {"an entity bomb", write(QStringLiteral("bomb.qpj"),
                                 "<!DOCTYPE x [<!ENTITY a \"aaaaaaaaaa\"><!ENTITY b \"&a;&a;&a;&a;&a;&a;&a;&a;\">]>"
                                 "<mlt><PreviewDimension Width=\"&b;\" Height=\"240\"/></mlt>"),
         {invalid}},
        {"a preview dimension of 0", Edit(path, Folder(QStringLiteral("size0.qpj")),
                                          [](pugi::xml_node root) { root.child("PreviewDimension").first_attribute() = 0; }),
         {invalid}},
        {"a file without Src", Edit(path, Folder(QStringLiteral("nosrc.qpj")),
                                    [](pugi::xml_node root) { root.child("MediaList").first_child().remove_attributes(); }),
         {unexpected}},
        {"no media list", Edit(path, Folder(QStringLiteral("nolist.qpj")),
                               [](pugi::xml_node root) { root.remove_child("MediaList"); }),
         {unexpected}},
        {"a zoom below 0", Edit(path, Folder(QStringLiteral("zoom.qpj")),
                                [](pugi::xml_node root) { root.child("ZoomFactor").first_attribute() = -4; }),
         {unexpected}},
        {"a zoom that is no number", Edit(path, Folder(QStringLiteral("zoomtext.qpj")),
                                          [](pugi::xml_node root) { root.child("ZoomFactor").first_attribute() = "near"; }),
         {unexpected}},
        {"a key colour past 16 bits", Edit(path, Folder(QStringLiteral("key.qpj")),
                                           [](pugi::xml_node root) {
                                               root.child("PropertySettings").first_child().attribute("Red") = 70000;
                                           }),
         {unexpected}},
        {"a marker at no time", Edit(path, Folder(QStringLiteral("mark.qpj")),
                                     [](pugi::xml_node root) { root.child("Bookmarks").last_child().first_attribute() = "x"; }),
         {unexpected}},
        {"a selection ending before it starts", Edit(path, Folder(QStringLiteral("sel.qpj")),
                                                     [](pugi::xml_node root) {
                                                         root.child("SelectionSliders").attribute("End") = 10;
                                                     }),
         {unexpected}},
        {"the engine's timeline broken", Edit(path, Folder(QStringLiteral("engine.qpj")),
                                              [](pugi::xml_node root) { root.remove_child("QuillmontTimeline"); }),
         {unexpected}},
        {"a media file Quillmont cannot play",
         Edit(path, Folder(QStringLiteral("refused.qpj")),
              [](pugi::xml_node root) {
                  root.child("MediaList").first_child().first_attribute() = QmTest::Fixture(QStringLiteral("truncated.avi")).toUtf8().constData();
              }),
         {QStringLiteral("Unable to open file - \"") + QmTest::Fixture(QStringLiteral("truncated.avi")) +
              QStringLiteral("\".\r\nThe file format is invalid."),
          QStringLiteral("Unable to open project.")}},
    };
    for (const Case& c : cases) {
        OpenByMenu(c.file);
        QCOMPARE(Said(), c.messages);
        QVERIFY2(NotEmpty().isEmpty(), qPrintable(c.what + QStringLiteral(": ") + NotEmpty()));
        QVERIFY2(QFile::exists(c.file) && !QFile::exists(ModuleProject::TemporaryName(c.file)), qPrintable(c.what));
        QCOMPARE(QmScript::PendingMessageAnswers(), 0);
    }

    // Before anything is emptied: another spelling of the extension, a file that is not
    // there, one whose working name is taken.
    OpenFixtures({QStringLiteral("video.avi")});
    ProjectModified = false;
    QVERIFY(QFile::copy(path, Folder(QStringLiteral("case.Qpj"))));
    OpenByMenu(Folder(QStringLiteral("case.Qpj")));
    QCOMPARE(Said(), QStringList{"Invalid File Format."});
    QCOMPARE(List()->Count(), 1);
    OpenByMenu(Folder(QStringLiteral("absent.qpj")));
    QCOMPARE(Said(), QStringList{"File not found. Unable to open project."});
    QCOMPARE(NotEmpty(), QString());
    QVERIFY(QFile::copy(path, Folder(QStringLiteral("good.xml"))));
    OpenByMenu(path);
    QCOMPARE(Said(), QStringList{"File already exists. Unable to open project."});
    QCOMPARE(NotEmpty(), QString());
    QVERIFY(QFile::remove(Folder(QStringLiteral("good.xml"))));
    // After all of it the program works: the good project opens.
    OpenByMenu(path);
    QVERIFY(!ProjectOpenFailed);
    QCOMPARE(List()->Count(), 5);
}

void TestProject::saveErrorsAndSaveAs()
{
    const QString path = Folder(QStringLiteral("saving.qpj"));
    QVERIFY(!MakeProject(path).isEmpty());

    // A read-only project file is not written.
    QVERIFY(QFile::setPermissions(path, QFile::ReadOwner | QFile::ReadGroup));
    const QByteArray before = [&] {
        QFile file(path);
        file.open(QIODevice::ReadOnly);
        return file.readAll();
    }();
    ProjectModified = true;
    Run("mnuFileSaveProject");
    QCOMPARE(Said(), QStringList{"Unable to save project. The project file is Read Only."});
    QVERIFY(ProjectModified);
    QFile file(path);
    QVERIFY(file.open(QIODevice::ReadOnly));
    QCOMPARE(file.readAll(), before);
    file.close();
    QVERIFY(QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner));

    // Save As: a name whose working name is taken is refused and asked again; a cancel
    // leaves the project as it was.
    const QString other = Folder(QStringLiteral("other.qpj"));
    QmXml::WriteFile(Folder(QStringLiteral("other.xml")), "<x/>");
    AnswerFile(other);
    AnswerFile(Folder(QStringLiteral("third.qpj")));
    Run("mnuFileSaveProjectAs");
    QCOMPARE(Said(), QStringList{"Invalid Project Name. Please specify a different name."});
    QCOMPARE(ProjectFilePath, Folder(QStringLiteral("third.qpj")));
    QCOMPARE(ProgramElements(ProjectFilePath).first(), QStringLiteral("MediaList"));
    QCOMPARE(Caption(), QStringLiteral("Media List - Project: third.qpj"));
    Run("mnuToolsZoomIn");
    QmScript::CancelDialog();
    Run("mnuFileSaveProjectAs");
    QVERIFY(ProjectModified && ProjectSaved);
    QCOMPARE(ProjectFilePath, Folder(QStringLiteral("third.qpj")));

    // The first save of a project under a name whose working name is taken.
    ProjectSaved = false;
    AnswerFile(other);
    Run("mnuFileSaveProject");
    QCOMPARE(Said(),
             QStringList{"A temporary support file by that name already exists. Please specify another filename."});
    QVERIFY(!ProjectSaved);
    // A name with the extension in capitals renames onto itself, which fails alike.
    AnswerFile(Folder(QStringLiteral("upper.QPJ")));
    Run("mnuFileSaveProject");
    QCOMPARE(Said(),
             QStringList{"A temporary support file by that name already exists. Please specify another filename."});
    QmScript::TakeDialogs();
}

void TestProject::interruptedSaveIsOfferedBack()
{
    const QString path = Folder(QStringLiteral("crash.qpj"));
    const QStringList saved = MakeProject(path);
    QVERIFY(!saved.isEmpty());
    QmScript::AnswerMessage(QmMsgBox::Yes);
    Run("mnuFileCloseProject");
    Said();
    // Quillmont stopped between the save's two renames: only the working name is left.
    QVERIFY(QFile::rename(path, Folder(QStringLiteral("crash.xml"))));
    const QString offer = QStringLiteral("The project \"crash.qpj\" was not found, but \"crash.xml\" beside it holds it as "
                                         "Quillmont last wrote it, before it stopped.\r\n\r\nDo you want to restore the "
                                         "project from it?");
    QmMenuArray& recent = Main()->mnuFileRP();
    QCOMPARE(recent.Caption(0), path);
    QmScript::AnswerMessage(QmMsgBox::No);
    recent.Item(0)->trigger();
    // (the working name is taken, so the load cannot take it over)
    QCOMPARE(Said(), QStringList({offer, QStringLiteral("File already exists. Unable to open project.")}));
    QVERIFY(QFile::exists(Folder(QStringLiteral("crash.xml"))));
    QmScript::AnswerMessage(QmMsgBox::Yes);
    recent.Item(0)->trigger();
    QCOMPARE(Said(), QStringList{offer});
    QCOMPARE(Describe(), saved);
    QVERIFY(QFile::exists(path) && !QFile::exists(Folder(QStringLiteral("crash.xml"))));
}

void TestProject::recentProjectsCommandLineAndClosePrompt()
{
    const QString path = Folder(QStringLiteral("recent.qpj"));
    const QStringList saved = MakeProject(path);
    QVERIFY(!saved.isEmpty());

    // A recent project drops unsaved changes without a question.
    Run("mnuToolsZoomIn");
    QVERIFY(ProjectModified);
    QmMenuArray& recent = Main()->mnuFileRP();
    const int entries = recent.Count();
    recent.Item(0)->trigger();
    QCOMPARE(Describe(), saved);
    QCOMPARE(recent.Count(), entries); // already listed: not added again

    // The command line, quoted or not; "%1" and nothing open nothing.
    ModuleProject::OpenCommandLine(QStringLiteral("%1"));
    ModuleProject::OpenCommandLine(QString());
    QCOMPARE(Describe(), saved);
    moduleTarnwick::CloseAllMediaFiles();
    ModuleHistory::EmptyTimeline();
    ModuleProject::OpenCommandLine(u'"' + path + u'"');
    QCOMPARE(Describe(), saved);
    moduleTarnwick::CloseAllMediaFiles();
    ModuleHistory::EmptyTimeline();
    ModuleProject::OpenCommandLine(path);
    QCOMPARE(Describe(), saved);
    QVERIFY(!BusyOpening && !ProjectLoadLock);

}

void TestProject::mutatedFilesNeverCrashHangOrReport()
{
    // A small project of one picture, on the video track and the overlay, mutated a few
    // thousand ways: whatever the file holds, it opens, or its message says why and the
    // program is left empty, and it works on.
    moduleTarnwick::OpenResentFile(QmTest::Fixture(QStringLiteral("image.bmp")));
    SelectFiles({QStringLiteral("image.bmp")});
    Run("mnuEditAddToTimeline");
    Run("mnuEditAddToTimeline");
    SelectFiles({QStringLiteral("image.bmp")});
    Run("mnuEditAddToOverlay");
    moduleTimeline::SetSliderPosition(1000, false);
    Run("mnuToolsAddBookmark");
    Run("mnuViewSelectionSliders");
    const QString seed = Folder(QStringLiteral("seed.qpj"));
    AnswerFile(seed);
    Run("mnuFileSaveProject");
    QFile source(seed);
    QVERIFY(source.open(QIODevice::ReadOnly));
    const QByteArray original = source.readAll();

    // Questions take their first button (Yes to a search, whose dialogue then cancels);
    // nothing may go to the error report.
    QmScript::Enable([](const QString&) {});
    QRandomGenerator random(20240517);
    const QString path = Folder(QStringLiteral("fuzz.qpj"));
    const QByteArray pieces[] = {"-1", "99999999999", "0", "1e9", "abc", "", "\"", "<", "&amp;", "32768", "NaN",
                                 " ", "-2147483649", "1.5", "&#0;", "x\ny"};
    QElapsedTimer clock;
    clock.start();
    int opened = 0, refused = 0;
    const int total = 2000;
    for (int n = 0; n < total; ++n) {
        QByteArray text = original;
        const int edits = 1 + static_cast<int>(random.bounded(3));
        for (int e = 0; e < edits; ++e) {
            const int at = static_cast<int>(random.bounded(static_cast<quint32>(text.size())));
            switch (random.bounded(6)) {
            case 0: // a byte changed
                text[at] = static_cast<char>(random.bounded(256));
                break;
            case 1: // cut off
                text.truncate(at);
                break;
            case 2: { // an attribute's value replaced
                const int quote = text.indexOf('"', at);
                const int end = quote < 0 ? -1 : text.indexOf('"', quote + 1);
                if (end > quote)
                    text.replace(quote + 1, end - quote - 1, pieces[random.bounded(static_cast<quint32>(std::size(pieces)))]);
                break;
            }
            case 3: { // an element removed
                const int open = text.indexOf('<', at);
                const int close = open < 0 ? -1 : text.indexOf("/>", open);
                if (close > open && text.indexOf('<', open + 1) > close)
                    text.remove(open, close + 2 - open);
                break;
            }
            case 4: { // a stretch repeated
                const int length = static_cast<int>(random.bounded(200));
                text.insert(at, text.mid(at, length));
                break;
            }
            default: { // two attributes swapped, by swapping the text between two spaces
                const int a = text.indexOf(' ', at);
                const int b = a < 0 ? -1 : text.indexOf(' ', a + 1);
                const int c = b < 0 ? -1 : text.indexOf(' ', b + 1);
                if (c > b && b > a && text.mid(a, c - a).count('"') == 4) {
                    const QByteArray first = text.mid(a, b - a), second = text.mid(b, c - b);
                    text.replace(a, c - a, second + first);
                }
                break;
            }
            }
        }
        QmXml::WriteFile(path, text);
        QFile::remove(Folder(QStringLiteral("fuzz.xml")));
        ProjectModified = false;
        OpenByMenu(path);
        QmScript::TakeMessages();
        QmScript::TakeDialogs();
        ProjectOpenFailed ? ++refused : ++opened;
        if (!ProjectOpenFailed)
            QVERIFY2(QFile::exists(path), "an opened project keeps its file");
        QVERIFY2(m_reported.isEmpty(), qPrintable(QStringLiteral("mutation %1: %2").arg(n).arg(m_reported.join(u'\n'))));
        QVERIFY2(!BusyOpening && !ProjectLoadLock, "the load's flags are cleared");
    }
    QmTest::EnableScript();
    qInfo("%d mutated files: %d opened, %d refused, in %lld ms", total, opened, refused, clock.elapsed());
    QVERIFY(opened > 0 && refused > 0);
    // The program works on: the seed opens as it was saved.
    OpenByMenu(seed);
    QVERIFY(!ProjectOpenFailed);
    QCOMPARE(List()->Count(), 1);
}

void TestProject::closePromptsYesSaves()
{
    const QString path = Folder(QStringLiteral("closing.qpj"));
    QVERIFY(!MakeProject(path).isEmpty());
    // Unsaved work on an untitled project: Yes asks for a name; its Cancel keeps the
    // window open.
    Run("mnuToolsZoomIn");
    ProjectSaved = false;
    QmScript::AnswerMessage(QmMsgBox::Yes);
    QmScript::CancelDialog();
    QVERIFY(!Main()->close());
    QCOMPARE(Said(), QStringList{"Do you want save your changes before closing?"});
    QmScript::TakeDialogs();
    QVERIFY(Main()->isVisible());
    // Named: Yes saves it, and the window closes.
    ProjectSaved = true;
    const QStringList zoomed = Describe();
    QmScript::AnswerMessage(QmMsgBox::Yes);
    QVERIFY(Main()->close());
    QCOMPARE(Said(), QStringList{"Do you want save your changes before closing?"});
    QVERIFY(!ProjectModified);
    pugi::xml_document document;
    QVERIFY(QmXml::Load(document, path));
    QCOMPARE(QString::fromUtf8(document.first_child().child("ZoomFactor").first_attribute().value()),
             QString::number(zoomed.filter(QStringLiteral("zoom ")).value(0).mid(5).toInt()));
}

QM_TEST_MAIN(TestProject)
#include "test_project.moc"
