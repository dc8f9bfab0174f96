// The media list: files opened through the open dialogue into rows, the messages for
// files that cannot be opened, closing with the timeline's references, the facts of the
// selected row, recent files, view modes, and the instant preview on the real player.
#include "QmTestSupport.h"

#include "core/QmDialogs.h"
#include "core/QmListView.h"
#include "core/QmSettings.h"
#include "core/QmShared.h"
#include "core/QmTrap.h"
#include "core/QmVideoSurface.h"
#include "core/moduleUtilities.h"
#include "editing/moduleEdit.h"
#include "engine/CreateObject.h"
#include "engine/ITWCoreRoot.h"
#include "engine/ITWFilePreview.h"
#include "engine/ITWMediaFiles.h"
#include "engine/ITWPreview.h"
#include "engine/ITWTimeline.h"
#include "media/frmMediaList.h"
#include "media/moduleTarnwick.h"
#include "shell/ModuleSettings.h"
#include "shell/QmMenuArray.h"
#include "shell/mdiTarnwick.h"

#include <QAbstractItemView>
#include <QElapsedTimer>
#include <QLabel>
#include <QListView>
#include <QMenu>
#include <QProgressBar>
#include <QRegularExpression>
#include <QSet>
#include <QSlider>
#include <QTimer>
#include <QToolButton>

#include <random>

using namespace QmShared;
using QmTest::Main;

namespace {

frmMediaList* Form()
{
    return frmMediaList::instance();
}

QmListView* List()
{
    return Form()->lvwMediaList;
}

ITWFilePreview& Player()
{
    return Eng<ITWFilePreview>();
}

QLabel* StatusLabel()
{
    return Main()->StatusPanel(QStringLiteral("sbr_1"));
}

QString Fixture(const char* name)
{
    return QmTest::Fixture(QString::fromLatin1(name));
}

QString FixtureFolder()
{
    return QStringLiteral(QM_FIXTURE_DIR);
}

QStringList Cells(int row)
{
    QStringList cells;
    for (int column = 0; column < 5; ++column)
        cells << List()->SubItem(row, column);
    return cells;
}

QStringList RowTexts()
{
    QStringList texts;
    for (int row = 0; row < List()->Count(); ++row)
        texts << List()->Text(row);
    return texts;
}

QString PathOf(int32_t file)
{
    QString path;
    Eng<ITWCoreRoot>().GetFileName(file, 260, path);
    return path.trimmed();
}

// The paths behind the rows, by FileCollection: the one link between a row and its file.
QStringList RowPaths()
{
    QStringList paths;
    for (int32_t file : FileCollection)
        paths << PathOf(file);
    return paths;
}

QList<int> SelectedRows()
{
    QList<int> rows;
    for (int row = 0; row < List()->Count(); ++row) {
        if (List()->Selected(row))
            rows << row;
    }
    return rows;
}

// The dialogue's answer for several files of one folder, as it hands them back.
void AnswerOpen(const QString& folder, const QStringList& names)
{
    QString joined = folder;
    for (const QString& name : names)
        joined += QChar(u'\0') + name;
    QmScript::AnswerDialog(QVariant::fromValue(QmDialogs::FileResult{joined, 4}));
}

void OpenSeveral(const QString& folder, const QStringList& names)
{
    AnswerOpen(folder, names);
    Main()->RunCommand(QStringLiteral("mnuFileOpen"));
}

void OpenOne(const QString& path)
{
    QmScript::AnswerDialog(QVariant::fromValue(QmDialogs::FileResult{path, 4}));
    Main()->RunCommand(QStringLiteral("mnuFileOpen"));
}

QStringList RecentFiles()
{
    QStringList captions;
    QmMenuArray& menu = Main()->mnuFileRF();
    for (int i = 0; i < menu.Count(); ++i)
        captions << menu.Caption(i);
    return captions;
}

void ResetRecentFiles()
{
    QmMenuArray& menu = mdiTarnwick::instance()->mnuFileRF();
    for (int i = menu.Count() - 1; i >= 1; --i)
        menu.Unload(i);
    QmSettings::DeleteSetting(QStringLiteral("Recent Files"));
    ModuleSettings::GetResentFilesFromReg();
}

QString CantOpen(const QString& path, const char* reason)
{
    return QStringLiteral("Unable to open file - \"") + path + QStringLiteral("\".\r\n") + QString::fromLatin1(reason);
}

// A click as the user makes it: press and release on the row in the view shown, then
// the list's own queued click.
void ClickRow(int row, bool twice = false)
{
    QAbstractItemView* view = List()->ActiveView();
    const QPoint at = view->visualRect(view->model()->index(row, 0)).center();
    if (twice)
        QTest::mouseDClick(view->viewport(), Qt::LeftButton, {}, at);
    else
        QTest::mouseClick(view->viewport(), Qt::LeftButton, {}, at);
    QCoreApplication::processEvents();
}

int ColourCount(const QImage& image)
{
    QSet<QRgb> colours;
    const QImage rgb = image.convertToFormat(QImage::Format_RGB32);
    for (int y = 0; y < rgb.height(); y += 2) {
        for (int x = 0; x < rgb.width(); x += 2)
            colours.insert(rgb.pixel(x, y));
    }
    return static_cast<int>(colours.size());
}

// What the frame looked like as the progress bar came, stepped and went: the status
// text of each moment, the bar's range, the pointer and the busy flag.
struct StatusStep
{
    QString text;
    int value = 0;
    int maximum = 0;
    bool barVisible = false;
    bool hourglass = false;
    bool busy = false;
};

class ProgressWatch : public QObject
{
public:
    explicit ProgressWatch(QProgressBar* bar)
        : m_bar(bar)
    {
        bar->installEventFilter(this);
        connect(bar, &QProgressBar::valueChanged, this, [this](int value) {
            if (value > 0)
                Record();
        });
    }

    QList<StatusStep> steps;

protected:
    bool eventFilter(QObject* watched, QEvent* event) override
    {
        if (watched == m_bar && (event->type() == QEvent::Show || event->type() == QEvent::Hide))
            Record();
        return false;
    }

private:
    void Record()
    {
        const QCursor* cursor = QApplication::overrideCursor();
        steps << StatusStep{StatusLabel()->text(), m_bar->value(), m_bar->maximum(), m_bar->isVisible(),
                            cursor && cursor->shape() == Qt::WaitCursor, BusyOpening};
    }

    QProgressBar* m_bar;
};

} // namespace

class TestMedia : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanup();

    void severalFilesOpenIntoRowsInOrder();
    void recentFilesByNameOrByPath();
    void filesThatCannotBeOpenedAreRefused();
    void closingAsksAboutFilesTheTimelineUses();
    void selectingShowsTheFactsOfTheFile();
    void doubleClickAndViewModes();
    void previewPlaysStopsSeeksAndRewinds();
    void previewOfStillsSoundAndEmptyFiles();
    void previewStopsAndRewindsAtTheEnd();
    void everyKindOfFileOpensOrIsRefusedForItsFault();
    void mutatedFilesAreOpenedOrRefusedCalmly();

private:
    // A folder of copies of fixtures, under names of the test's choosing.
    QString CopyFolder(const QList<std::pair<const char*, QString>>& copies);

    ProgressWatch* m_watch = nullptr;
    QStringList m_reported;
    int m_folders = 0;
};

void TestMedia::initTestCase()
{
    // No sound device is touched: SDL plays into its dummy driver.
    qputenv("SDL_AUDIODRIVER", "dummy");
    QmTrap::SetReporter([this](const QString& module, const QString& function, const QmError& error) {
        m_reported << module + u'.' + function + QStringLiteral(": ") + QString::number(error.Number()) + u' ' +
                          error.Description();
    });

    if (!QmTest::StartMainWindow(1200, 800))
        return;
    m_watch = new ProgressWatch(Main()->pbarMain());
    QCOMPARE(TrackCollection.Count(), 3);
    QVERIFY(OverlayTrack != 0);

    // A fresh panel: the button shows "STOP" until the first selection.
    QCOMPARE(Form()->PlayPicture(), QStringLiteral("STOP"));
    QCOMPARE(Form()->windowTitle(), QStringLiteral("Media List - Project: Untitled"));
}

void TestMedia::cleanup()
{
    frmMediaList* form = Form();
    form->tmFilePreview->stop();
    form->FilePlaying = false;
    Player().Close();
    auto& tl = Eng<ITWTimeline>();
    for (int32_t track : {TrackCollection.Item(1), TrackCollection.Item(2), TrackCollection.Item(3), OverlayTrack}) {
        while (tl.GetSourceCount(track) > 0)
            tl.RemoveSource(track, 0);
    }
    moduleTarnwick::CloseAllMediaFiles();
    moduleEdit::ClearSourceClips();
    moduleEdit::ClearEffectClips();
    moduleEdit::ClearTransitionClips();
    if (List()->CurrentView() != QmListView::Report)
        Main()->RunCommand(QStringLiteral("mnuViewML_Detail"));
    ProjectModified = MediaListDirty = BusyOpening = InSelectionUpdate = false;
    QmStatus::Show(QStringLiteral("Ready"));
    m_watch->steps.clear();
    QmScript::TakeOpened();
    QmScript::TakeDialogs();

    const QStringList messages = QmTest::TakeMessageTexts();
    const QStringList reported = std::exchange(m_reported, {});
    const int answersLeft = QmScript::PendingMessageAnswers();
    QCOMPARE(messages, QStringList());
    QCOMPARE(reported, QStringList());
    QCOMPARE(answersLeft, 0);
    QCOMPARE(StreamCollection.Count(), 0);
}

QString TestMedia::CopyFolder(const QList<std::pair<const char*, QString>>& copies)
{
    const QString folder = QmTest::Root().path() + QStringLiteral("/media%1").arg(++m_folders);
    QDir().mkpath(folder);
    for (const auto& [fixture, name] : copies) {
        if (!QFile::copy(Fixture(fixture), folder + u'/' + name))
            qFatal("cannot copy %s", fixture);
    }
    return folder;
}

void TestMedia::severalFilesOpenIntoRowsInOrder()
{
    const QString folder = CopyFolder({{"video.avi", QStringLiteral("video.avi")},
                                       {"audio.aiff", QStringLiteral("audio.aiff")},
                                       {"image.bmp", QStringLiteral("image.bmp")},
                                       {"audio.wav", QStringLiteral("audio.wav")},
                                       {"video.wmv", QStringLiteral("holiday.xyz")},
                                       {"twovideo.avi", QStringLiteral("twovideo.avi")},
                                       {"audioonly.avi", QStringLiteral("audioonly.avi")},
                                       {"image.gif", QStringLiteral("image.gif")},
                                       {"audio.au", QStringLiteral("audio.au")},
                                       {"video.mpg", QStringLiteral("video.mpg")}});
    const QStringList names = {"video.avi",    "audio.aiff",    "image.bmp", "audio.wav", "holiday.xyz",
                               "twovideo.avi", "audioonly.avi", "image.gif", "audio.au",  "video.mpg"};
    OpenSeveral(folder, names);

    // The dialogue as set up: all supported media chosen, several files allowed.
    const QList<QmScript::DialogRequest> asked = QmScript::TakeDialogs();
    QCOMPARE(asked.size(), 1);
    QCOMPARE(asked[0].kind, QStringLiteral("open"));
    QCOMPARE(asked[0].filterIndex, 4);
    QCOMPARE(asked[0].flags, 530948);
    QCOMPARE(asked[0].filter,
             QStringLiteral("Video Files (*.aiff; *.asf; *.avi; *.mpeg; *.wmv)|*.aiff;*.asf;*.avi;*.mpeg;*.mpg;*.wmv|"
                            "Audio Files (*.au; *.midi; *.mp3; *.wav; *.wma)|*.au;*.midi;*.mid;*.mp3;*.wav;*.wma|"
                            "Image Files (*.bmp; *.gif; *.jpeg; *.tga)|*.bmp;*.gif;*.jpeg;*.jpg;*.tga|"
                            "All supported Media Files|*.aiff;*.asf;*.avi;*.mpeg;*.mpg;*.wmv;*.au;*.midi;*.mid;*.mp3;"
                            "*.wav;*.wma;*.bmp;*.gif;*.jpeg;*.jpg;*.tga|All Files (*.*)|*.*"));

    // Rows in the order chosen, with the columns as written for each kind of file. The
    // aiff file and the file of no known type are classed "Video"; a still has no fps;
    // of two video streams the later one's particulars stay, and the duration is that
    // of the last stream (the sound of video.mpg is shorter than its pictures).
    const QString dash = QStringLiteral("     --");
    const QList<QStringList> expected = {
        {"video.avi", "Video", "0:00:02.000", "320 x 240, 25fps", "44100 Hz"},
        {"audio.aiff", "Video", "0:00:02.000", dash, "44100 Hz"},
        {"image.bmp", "Image", "0:00:05.000", "200 x 150", dash},
        {"audio.wav", "Audio", "0:00:03.000", dash, "22050 Hz"},
        {"holiday.xyz", "Video", "0:00:02.046", "320 x 240, 25fps", "44100 Hz"},
        {"twovideo.avi", "Video", "0:00:02.000", "176 x 144, 15fps", dash},
        {"audioonly.avi", "Video", "0:00:02.024", dash, "44100 Hz"},
        {"image.gif", "Image", "0:00:05.000", "200 x 150", dash},
        {"audio.au", "Audio", "0:00:02.000", dash, "44100 Hz"},
        {"video.mpg", "Video", "0:00:01.933", "320 x 240, 25fps", "44100 Hz"},
    };
    QCOMPARE(List()->Count(), expected.size());
    for (int row = 0; row < expected.size(); ++row)
        QCOMPARE(Cells(row), expected[row]);
    const QStringList icons = {"VIDEO", "VIDEO", "IMAGE", "AUDIO", "VIDEO",
                               "VIDEO", "VIDEO", "IMAGE", "AUDIO", "VIDEO"};
    for (int row = 0; row < icons.size(); ++row)
        QCOMPARE(List()->IconKey(row), icons[row]);
    QStringList paths;
    for (const QString& name : names)
        paths << folder + u'/' + name;
    QCOMPARE(RowPaths(), paths);
    QCOMPARE(StreamCollection.Count(), 2 + 1 + 1 + 1 + 2 + 2 + 1 + 1 + 1 + 2);

    // The progress bar comes up under "Opening file...", steps with the status text of
    // each file under the hourglass, and goes with "Done"; then the last row's facts.
    const QList<StatusStep>& steps = m_watch->steps;
    QCOMPARE(steps.size(), names.size() + 2);
    QCOMPARE(steps.first().text, QStringLiteral("Opening file..."));
    QCOMPARE(steps.first().maximum, 10);
    QVERIFY(steps.first().hourglass);
    for (int n = 1; n <= names.size(); ++n) {
        const StatusStep& step = steps[n];
        QCOMPARE(step.text, QStringLiteral("Opening file %1 of 10 (%2)").arg(n, 2, 10, QChar(u'0')).arg(names[n - 1]));
        QCOMPARE(step.value, n);
        QVERIFY(step.barVisible);
        QVERIFY(step.hourglass);
        QVERIFY(step.busy);
    }
    QCOMPARE(steps.last().text, QStringLiteral("Done"));
    QVERIFY(!steps.last().hourglass);
    QCOMPARE(StatusLabel()->text(), QStringLiteral("Selected file: \"video.mpg\". Total Files in Media List: 10."));
    QVERIFY(Main()->pbarMain()->isHidden());
    QVERIFY(!QApplication::overrideCursor());
    QVERIFY(ProjectModified);
    QVERIFY(MediaListDirty);
    QVERIFY(!BusyOpening);

    // The last row alone is selected, and its facts are shown.
    QCOMPARE(SelectedRows(), QList<int>{9});
    QCOMPARE(Form()->lblFileDisplay->text(), QStringLiteral("video.mpg"));
    QCOMPARE(Form()->lblInfoDisplay[0]->text(), folder + QStringLiteral("/video.mpg"));
    QCOMPARE(Form()->lblInfoDisplay[3]->text(), QStringLiteral("MPG"));
    QCOMPARE(Form()->PlayPicture(), QStringLiteral("PLAY"));

    // A second opening appends after the rows already there; a selection made before is
    // cleared.
    List()->SetSelected(0, true);
    m_watch->steps.clear();
    OpenSeveral(FixtureFolder(), {"audio.mp3", "video.asf"});
    QCOMPARE(List()->Count(), 12);
    QCOMPARE(List()->Text(10), QStringLiteral("audio.mp3"));
    QCOMPARE(List()->Text(11), QStringLiteral("video.asf"));
    QCOMPARE(Cells(10).mid(1, 1), QStringList{"Audio"});
    QCOMPARE(Cells(10)[3], dash);
    QCOMPARE(SelectedRows(), QList<int>{11});
    QCOMPARE(m_watch->steps[1].text, QStringLiteral("Opening file 01 of 02 (audio.mp3)"));
    QCOMPARE(m_watch->steps[1].maximum, 2);
}

void TestMedia::recentFilesByNameOrByPath()
{
    ResetRecentFiles();
    QCOMPARE(RecentFiles(), QStringList{"Empty"});
    const QString folder = CopyFolder({{"audio.wav", QStringLiteral("audio.wav")},
                                       {"video.avi", QStringLiteral("video.avi")}});

    // One file: compared by its whole path, so the same name elsewhere is new.
    OpenOne(Fixture("audio.wav"));
    QCOMPARE(RecentFiles(), QStringList{Fixture("audio.wav")});
    OpenOne(Fixture("audio.wav"));
    QCOMPARE(RecentFiles(), QStringList{Fixture("audio.wav")});
    QCOMPARE(List()->Count(), 2); // opened twice, two rows
    OpenOne(folder + QStringLiteral("/audio.wav"));
    QCOMPARE(RecentFiles(), (QStringList{folder + QStringLiteral("/audio.wav"), Fixture("audio.wav")}));

    // Several files: compared by the bare name, so a file of the same name in another
    // folder counts as present.
    OpenSeveral(FixtureFolder(), {"audio.wav", "video.avi", "image.jpg"});
    QCOMPARE(RecentFiles(), (QStringList{Fixture("image.jpg"), Fixture("video.avi"),
                                         folder + QStringLiteral("/audio.wav"), Fixture("audio.wav")}));
    OpenSeveral(folder, {"video.avi", "audio.wav"});
    QCOMPARE(RecentFiles().first(), Fixture("image.jpg"));
    QCOMPARE(List()->Count(), 8);

    // A recent file opens by its path, and the list gains its row.
    const QString recent = folder + QStringLiteral("/audio.wav");
    QCOMPARE(Main()->mnuFileRF().Caption(2), recent);
    Main()->mnuFileRF().Item(2)->trigger();
    QCOMPARE(List()->Count(), 9);
    QCOMPARE(RowPaths().last(), recent);
    QCOMPARE(Cells(8), (QStringList{"audio.wav", "Audio", "0:00:03.000", "     --", "22050 Hz"}));
    QCOMPARE(StatusLabel()->text(), QStringLiteral("Done"));

    // Gone since: "File not found.", noted so that it is not said again; broken since:
    // the reason. Either way the status text stays where the opening left it.
    QVERIFY(QFile::remove(recent));
    FileNotFoundShown = false;
    Main()->mnuFileRF().Item(2)->trigger();
    QCOMPARE(QmTest::TakeMessageTexts(), QStringList{"File not found."});
    QVERIFY(FileNotFoundShown);
    QCOMPARE(StatusLabel()->text(), QStringLiteral("Opening files..."));
    QVERIFY(!QApplication::overrideCursor());
    QVERIFY(QFile::copy(Fixture("badaudio.avi"), recent));
    QmStatus::Show(QStringLiteral("Ready"));
    Main()->mnuFileRF().Item(2)->trigger();
    QCOMPARE(QmTest::TakeMessageTexts(),
             QStringList{CantOpen(recent, "The audio in this media file cannot be rendered.")});
    QCOMPARE(StatusLabel()->text(), QStringLiteral("Opening files..."));
    QCOMPARE(List()->Count(), 9);
    FileNotFoundShown = false;
}

void TestMedia::filesThatCannotBeOpenedAreRefused()
{
    ResetRecentFiles();
    const QString fixtures = FixtureFolder() + u'/';

    // Several files: each refusal has its message, the walk goes on, and only the good
    // file at the end gets a row. A missing file passes the render check and then
    // cannot be opened.
    OpenSeveral(FixtureFolder(), {"zero.avi", "truncated.avi", "noise.wmv", "text.avi", "notes.qxz", "sound.mid",
                                  "badvideo.avi", "badaudio.avi", "onebadvideo.avi", "missing.avi", "video.avi"});
    const char* invalid = "The file format is invalid.";
    const char* unknown = "The media type of this file is not recognized.";
    QCOMPARE(QmTest::TakeMessageTexts(),
             (QStringList{CantOpen(fixtures + "zero.avi", unknown), CantOpen(fixtures + "truncated.avi", invalid),
                          CantOpen(fixtures + "noise.wmv", unknown), CantOpen(fixtures + "text.avi", unknown),
                          CantOpen(fixtures + "notes.qxz", unknown),
                          CantOpen(fixtures + "sound.mid", "Cannot play back the file: the format is not supported."),
                          CantOpen(fixtures + "badvideo.avi", "The video in this media file cannot be rendered."),
                          CantOpen(fixtures + "badaudio.avi", "The audio in this media file cannot be rendered."),
                          CantOpen(fixtures + "onebadvideo.avi",
                                   "Some of the streams in this media file are in an unsupported format."),
                          QStringLiteral("Unable to open ") + fixtures + QStringLiteral("missing.avi.")}));
    QCOMPARE(RowTexts(), QStringList{"video.avi"});
    QCOMPARE(StreamCollection.Count(), 2);
    QCOMPARE(RecentFiles(), QStringList{Fixture("video.avi")});
    QCOMPARE(m_watch->steps.size(), 13);
    QCOMPARE(m_watch->steps.at(11).text, QStringLiteral("Opening file 11 of 11 (video.avi)"));
    QCOMPARE(StatusLabel()->text(), QStringLiteral("Selected file: \"video.avi\". Total Files in Media List: 1."));

    // One file: the refusal ends the opening at once, the status text as it stood.
    for (const auto& [name, reason] : {std::pair{"badaudio.avi", "The audio in this media file cannot be rendered."},
                                       std::pair{"zero.avi", unknown}}) {
        QmStatus::Show(QStringLiteral("Ready"));
        OpenOne(Fixture(name));
        QCOMPARE(QmTest::TakeMessageTexts(), QStringList{CantOpen(Fixture(name), reason)});
        QCOMPARE(StatusLabel()->text(), QStringLiteral("Opening file..."));
        QVERIFY(!QApplication::overrideCursor());
        QVERIFY(Main()->pbarMain()->isHidden());
    }
    QmStatus::Show(QStringLiteral("Ready"));
    OpenOne(Fixture("missing.avi"));
    QCOMPARE(QmTest::TakeMessageTexts(), QStringList{"Unable to open file."});
    QCOMPARE(StatusLabel()->text(), QStringLiteral("Opening file..."));
    QVERIFY(!QApplication::overrideCursor());
    QCOMPARE(RowTexts(), QStringList{"video.avi"});
    QCOMPARE(RecentFiles(), QStringList{Fixture("video.avi")});

    // More names than the dialogue's buffer holds: one message, nothing opened.
    QStringList many;
    qsizetype joined = FixtureFolder().size();
    while (joined <= 3000) {
        many << QStringLiteral("audio.wav");
        joined += 1 + many.last().size();
    }
    OpenSeveral(FixtureFolder(), many);
    QCOMPARE(QmTest::TakeMessageTexts(),
             QStringList{"You have selected too many files to open. Please select fewer files."});
    QCOMPARE(RowTexts(), QStringList{"video.avi"});
    QCOMPARE(StatusLabel()->text(), QStringLiteral("Done"));
    QVERIFY(Main()->pbarMain()->isHidden());
    QVERIFY(!QApplication::overrideCursor());

    // A cancelled dialogue: nothing opened, nothing said.
    ProjectModified = false;
    QmStatus::Show(QStringLiteral("Ready"));
    QmScript::CancelDialog();
    Main()->RunCommand(QStringLiteral("mnuFileOpen"));
    QCOMPARE(QmTest::TakeMessageTexts(), QStringList());
    QCOMPARE(RowTexts(), QStringList{"video.avi"});
    QCOMPARE(StatusLabel()->text(), QStringLiteral("Done"));
    QVERIFY(!QApplication::overrideCursor());
    QVERIFY(!BusyOpening);
    QVERIFY(ProjectModified); // the menu's handler sets it whatever the dialogue did
}

void TestMedia::closingAsksAboutFilesTheTimelineUses()
{
    OpenSeveral(FixtureFolder(), {"video.avi", "audio.wav", "image.bmp", "audio.aiff"});
    QCOMPARE(RowTexts(), (QStringList{"video.avi", "audio.wav", "image.bmp", "audio.aiff"}));
    auto& media = Eng<ITWMediaFiles>();
    auto& tl = Eng<ITWTimeline>();
    const int32_t videoFile = FileCollection.Item(1);
    const int32_t imageFile = FileCollection.Item(3);
    const int32_t picture = media.OpenStream(videoFile, 0);
    const int32_t sound = media.OpenStream(videoFile, 1);
    const int32_t still = media.OpenStream(imageFile, 0);
    const int32_t video = TrackCollection.Item(1), audio1 = TrackCollection.Item(2), audio2 = TrackCollection.Item(3);
    // Two sources in a row of one stream: removing the first must not skip the second.
    QVERIFY(tl.AppendSource(video, picture, -1));
    QVERIFY(tl.AppendSource(video, picture, -1));
    QVERIFY(tl.AppendSource(audio1, sound, -1));
    QVERIFY(tl.AppendSource(audio2, sound, -1));
    QVERIFY(tl.AppendSource(OverlayTrack, still, -1));
    moduleEdit::SourceClips.append(moduleEdit::SourceClip{video, picture, 0, 1000, 0, 1000, 0});
    moduleEdit::EffectClips.append(moduleEdit::EffectClip{video, QStringLiteral("Blur"), 1000, 0});
    moduleEdit::TransitionClips.append(moduleEdit::TransitionClip{OverlayTrack, QStringLiteral("DxtKey"), 1000});

    // video.avi: No keeps row and sources, and the walk goes on: audio.wav closes
    // without a question; image.bmp is asked about, and Yes takes its source away.
    ClickRow(0);
    List()->SetSelected(1, true);
    List()->SetSelected(2, true);
    ProjectModified = false;
    QmScript::AnswerMessage(QmMsgBox::No);
    QmScript::AnswerMessage(QmMsgBox::Yes);
    Main()->RunCommand(QStringLiteral("mnuFileClose"));
    const auto question = [](const char* name) {
        return QStringLiteral("The file - \"") + QString::fromLatin1(name) +
               QStringLiteral("\" is being used by the timeline. If you delete this file, all references to it in the "
                              "timeline will be permanently removed. Do you wish to proceed with the deletion?");
    };
    const QList<QmScript::ShownMessage> asked = QmScript::TakeMessages();
    QCOMPARE(asked.size(), 2);
    QCOMPARE(asked[0].text, question("video.avi"));
    QCOMPARE(asked[0].title, QStringLiteral("Quillmont"));
    QCOMPARE(asked[0].buttons, QmMsgBox::Buttons::YesNo);
    QCOMPARE(asked[0].icon, QmMsgBox::Icon::Information);
    QCOMPARE(asked[1].text, question("image.bmp"));
    QCOMPARE(RowTexts(), (QStringList{"video.avi", "audio.aiff"}));
    QCOMPARE(RowPaths(), (QStringList{Fixture("video.avi"), Fixture("audio.aiff")}));
    QCOMPARE(tl.GetSourceCount(video), int16_t(2));
    QCOMPARE(tl.GetSourceCount(audio1), int16_t(1));
    QCOMPARE(tl.GetSourceCount(audio2), int16_t(1));
    QCOMPARE(tl.GetSourceCount(OverlayTrack), int16_t(0));
    QCOMPARE(StreamCollection.Count(), 2 + 1);
    QVERIFY(StreamCollection.IndexOf(picture) && StreamCollection.IndexOf(sound));
    QVERIFY(!StreamCollection.IndexOf(still));
    QVERIFY(ProjectModified);
    QVERIFY(moduleEdit::IsClipboardFilled()); // rows remain
    // The preview and the facts of the closed files are gone.
    QCOMPARE(Player().GetDuration(), 0);
    QVERIFY(!Form()->tmFilePreview->isActive());
    QVERIFY(Form()->picPreviewSmall->Frame().isNull());
    QCOMPARE(Form()->lblFile->text(), QString());
    QCOMPARE(Form()->lblInfoDisplay[0]->text(), QString());

    // Yes on video.avi: its sources leave every track, and its streams close.
    List()->SetSelected(0, true);
    QmScript::AnswerMessage(QmMsgBox::Yes);
    Main()->RunCommand(QStringLiteral("mnuFileClose"));
    QCOMPARE(QmTest::TakeMessageTexts(), QStringList{question("video.avi")});
    QCOMPARE(RowTexts(), QStringList{"audio.aiff"});
    for (int32_t track : {video, audio1, audio2, OverlayTrack})
        QCOMPARE(tl.GetSourceCount(track), int16_t(0));
    QCOMPARE(StreamCollection.Count(), 1);

    // Nothing selected: nothing closes, and the project counts as changed all the same.
    ClickRow(0);
    List()->SetSelected(0, false);
    ProjectModified = false;
    Main()->RunCommand(QStringLiteral("mnuFileClose"));
    QCOMPARE(RowTexts(), QStringList{"audio.aiff"});
    QVERIFY(ProjectModified);
    QVERIFY(moduleEdit::IsClipboardFilled());
    QCOMPARE(Form()->lblFileDisplay->text(), QStringLiteral("audio.aiff")); // nothing closed, nothing cleared

    // The last row closes: the clipboard goes with it.
    List()->SetSelected(0, true);
    Main()->RunCommand(QStringLiteral("mnuFileClose"));
    QCOMPARE(List()->Count(), 0);
    QCOMPARE(FileCollection.Count(), 0);
    QVERIFY(moduleEdit::SourceClips.isEmpty());
    QVERIFY(moduleEdit::EffectClips.isEmpty());
    QVERIFY(moduleEdit::TransitionClips.isEmpty());
}

void TestMedia::selectingShowsTheFactsOfTheFile()
{
    const QString folder = CopyFolder({{"video.avi", QStringLiteral("video.avi")},
                                       {"video.avi", QStringLiteral("gone.avi")},
                                       {"audio.wav", QStringLiteral("sound.wav")}});
    QDir().mkpath(folder + QStringLiteral("/sub"));
    QVERIFY(QFile::copy(Fixture("image.gif"), folder + QStringLiteral("/sub/still.gif")));
    const QDateTime stamp(QDate(2003, 7, 15), QTime(10, 20, 30));
    {
        QFile file(folder + QStringLiteral("/video.avi"));
        QVERIFY(file.open(QIODevice::ReadWrite));
        QVERIFY(file.setFileTime(stamp, QFileDevice::FileModificationTime));
    }
    OpenSeveral(folder, {"video.avi", "gone.avi", "sound.wav"});
    OpenOne(folder + QStringLiteral("/sub/still.gif"));
    OpenOne(Fixture("video.avi"));
    // Two files of one name in different folders: both rows stay.
    QCOMPARE(RowTexts(), (QStringList{"video.avi", "gone.avi", "sound.wav", "still.gif", "video.avi"}));

    // Gone from disk after opening: nothing is said until the row is selected.
    QVERIFY(QFile::remove(folder + QStringLiteral("/gone.avi")));
    QVERIFY(QDir(folder + QStringLiteral("/sub")).removeRecursively());
    OpenOne(Fixture("audio.au"));
    QCOMPARE(QmTest::TakeMessageTexts(), QStringList());

    ClickRow(0);
    QCOMPARE(SelectedRows(), QList<int>{0});
    QCOMPARE(StatusLabel()->text(), QStringLiteral("Selected file: \"video.avi\". Total Files in Media List: 6."));
    frmMediaList* f = Form();
    QCOMPARE(f->lblFile->text(), QStringLiteral("File name"));
    QStringList captions;
    for (QLabel* label : f->lblInfo)
        captions << label->text();
    QCOMPARE(captions, (QStringList{"Path", "Size", "Created On", "File type", "Streams"}));
    QCOMPARE(f->lblFileDisplay->text(), QStringLiteral("video.avi"));
    const QString path = folder + QStringLiteral("/video.avi");
    QCOMPARE(f->lblInfoDisplay[0]->text(), path);
    QCOMPARE(f->lblInfoDisplay[1]->text(), moduleUtilities::FileSizeUnitConversion(QFileInfo(path).size()));
    QCOMPARE(f->lblInfoDisplay[2]->text(), QLocale::system().toString(stamp, QLocale::ShortFormat));
    QCOMPARE(f->lblInfoDisplay[3]->text(), QStringLiteral("AVI"));
    QCOMPARE(f->lblInfoDisplay[4]->text(), QStringLiteral("2"));

    // The other video.avi is the fixture's.
    ClickRow(4);
    QCOMPARE(f->lblInfoDisplay[0]->text(), Fixture("video.avi"));
    QCOMPARE(StatusLabel()->text(), QStringLiteral("Selected file: \"video.avi\". Total Files in Media List: 6."));
    ClickRow(2);
    QCOMPARE(f->lblInfoDisplay[3]->text(), QStringLiteral("WAV"));
    QCOMPARE(f->lblInfoDisplay[4]->text(), QStringLiteral("1"));

    // The keyboard moves the selection and the facts follow.
    List()->ActiveView()->setFocus();
    QTest::keyClick(List()->ActiveView(), Qt::Key_Up);
    QCoreApplication::processEvents();
    QCOMPARE(SelectedRows(), QList<int>{1});
    QCOMPARE(QmTest::TakeMessageTexts(), QStringList{"The selected file is missing."});
    QCOMPARE(f->lblFileDisplay->text(), QStringLiteral("gone.avi"));

    ClickRow(3);
    QCOMPARE(QmTest::TakeMessageTexts(), QStringList{"Path not found."});

    // While another selection is being handled, a click is not taken up.
    ClickRow(0);
    InSelectionUpdate = true;
    ClickRow(2);
    QCOMPARE(f->lblFileDisplay->text(), QStringLiteral("video.avi"));
    InSelectionUpdate = false;

    // A right click selects and pops up the media list's menu.
    QAbstractItemView* view = List()->ActiveView();
    QTest::mouseClick(view->viewport(), Qt::RightButton, {}, view->visualRect(view->model()->index(2, 0)).center());
    QTRY_VERIFY(Main()->mnuMediaListContext()->isVisible());
    Main()->mnuMediaListContext()->hide();
    QCOMPARE(f->lblFileDisplay->text(), QStringLiteral("sound.wav"));
    ClickRow(4);
    QVERIFY(!Main()->mnuMediaListContext()->isVisible());
    ClickRow(1);
    QCOMPARE(QmTest::TakeMessageTexts(), QStringList{"The selected file is missing."});
    QCOMPARE(RowTexts().size(), 6); // reported, not closed

    // The hints of the panel's parts.
    QMouseEvent move(QEvent::MouseMove, QPointF(3, 3), QPointF(3, 3), Qt::NoButton, Qt::NoButton, Qt::NoModifier);
    QCoreApplication::sendEvent(f->picPreviewSmall, &move);
    QCOMPARE(StatusLabel()->text(), QStringLiteral("Instant preview of the currently selected media file"));
    QCoreApplication::sendEvent(f->lblInfo[2], &move);
    QCOMPARE(StatusLabel()->text(), QStringLiteral("File information of the currently selected media file"));
    QCoreApplication::sendEvent(List()->ActiveView()->viewport(), &move);
    QCOMPARE(StatusLabel()->text(), QStringLiteral("Lists all the media files with their information"));
}

void TestMedia::doubleClickAndViewModes()
{
    // With no rows the desktop is not asked.
    Main()->RunCommand(QStringLiteral("mnuFilePreview"));
    QCOMPARE(QmScript::TakeOpened(), QList<QString>());

    OpenSeveral(FixtureFolder(), {"video.avi", "audio.wav", "image.jpg"});
    ClickRow(1, true);
    QCOMPARE(QmScript::TakeOpened(), QList<QString>{Fixture("audio.wav")});
    ClickRow(0);
    Main()->RunCommand(QStringLiteral("mnuFilePreview"));
    Main()->RunCommand(QStringLiteral("mnuMLC_Preview"));
    QCOMPARE(QmScript::TakeOpened(), (QList<QString>{Fixture("video.avi"), Fixture("video.avi")}));

    // Each view mode shows the rows its way, with its entry and button alone checked.
    const QList<std::tuple<const char*, const char*, QmListView::View>> modes = {
        {"mnuViewML_List", "LIST", QmListView::List},
        {"mnuViewML_LargeIcon", "LARGE_ICONS", QmListView::LargeIcons},
        {"mnuViewML_SmallIcon", "SMALL_ICONS", QmListView::SmallIcons},
        {"mnuViewML_Detail", "DETAIL", QmListView::Report}};
    for (const auto& [entry, button, view] : modes) {
        Main()->RunCommand(QString::fromLatin1(entry));
        QCOMPARE(List()->CurrentView(), view);
        QVERIFY(List()->ActiveView()->isVisible());
        for (const auto& [otherEntry, otherButton, otherView] : modes) {
            QCOMPARE(Main()->Item(QString::fromLatin1(otherEntry))->isChecked(), otherView == view);
            QCOMPARE(Main()->ToolButton(QString::fromLatin1(otherButton))->isChecked(), otherView == view);
        }
        auto* icons = qobject_cast<QListView*>(List()->ActiveView());
        if (view == QmListView::List)
            QCOMPARE(icons->viewMode(), QListView::ListMode);
        else if (view != QmListView::Report)
            QCOMPARE(icons->viewMode(), QListView::IconMode);
        else
            QVERIFY(!icons);
    }

    // In the icon views the rows are the same rows: a click there selects and shows.
    Main()->ToolButton(QStringLiteral("LARGE_ICONS"))->trigger();
    QCOMPARE(List()->CurrentView(), QmListView::LargeIcons);
    QCoreApplication::processEvents();
    ClickRow(2);
    QCOMPARE(SelectedRows(), QList<int>{2});
    QCOMPARE(Form()->lblFileDisplay->text(), QStringLiteral("image.jpg"));
    ClickRow(0, true);
    QCOMPARE(QmScript::TakeOpened(), QList<QString>{Fixture("video.avi")});
}

void TestMedia::previewPlaysStopsSeeksAndRewinds()
{
    frmMediaList* f = Form();
    OpenOne(Fixture("video.avi"));
    // Selected on opening: the first frame shows, nothing plays.
    QCOMPARE(f->PlayPicture(), QStringLiteral("PLAY"));
    QVERIFY(!f->FilePlaying);
    QVERIFY(f->sldFilePreview->isVisible());
    QVERIFY(f->cmdPlay->isVisible());
    QCOMPARE(f->sldFilePreview->maximum(), 2000);
    QCOMPARE(f->sldFilePreview->value(), 0);
    QCOMPARE(Player().GetDuration(), 2000);
    QCOMPARE(Player().GetPosition(), 0);
    QTRY_VERIFY(f->picPreviewSmall->FramesPresented() > 0);
    QVERIFY(ColourCount(f->picPreviewSmall->Frame()) > 5);

    // Play: the position runs within a second, and pictures keep arriving.
    const int before = f->picPreviewSmall->FramesPresented();
    QTest::mouseClick(f->cmdPlay, Qt::LeftButton);
    QCOMPARE(f->PlayPicture(), QStringLiteral("STOP"));
    QVERIFY(f->FilePlaying);
    QVERIFY(f->tmFilePreview->isActive());
    QTRY_VERIFY_WITH_TIMEOUT(f->sldFilePreview->value() > 0, 1000);
    QTRY_VERIFY_WITH_TIMEOUT(f->picPreviewSmall->FramesPresented() >= before + 5, 1000);

    // Stop keeps the position.
    QTest::mouseClick(f->cmdPlay, Qt::LeftButton);
    QCOMPARE(f->PlayPicture(), QStringLiteral("PLAY"));
    QVERIFY(!f->FilePlaying);
    QVERIFY(!f->tmFilePreview->isActive());
    const int32_t stopped = Player().GetPosition();
    QVERIFY(stopped > 0 && stopped < 2000);
    QTest::qWait(300);
    QVERIFY2(qAbs(Player().GetPosition() - stopped) <= 40,
             qPrintable(QStringLiteral("stopped at %1, now %2").arg(stopped).arg(Player().GetPosition())));

    // Playing again goes on from there, not from the start.
    QTest::mouseClick(f->cmdPlay, Qt::LeftButton);
    QTest::qWait(150);
    QVERIFY(Player().GetPosition() >= stopped);
    QTest::mouseClick(f->cmdPlay, Qt::LeftButton);

    // The slider seeks to within a frame, and the frame there is shown.
    for (int target : {1500, 480, 1000}) {
        const int shown = f->picPreviewSmall->FramesPresented();
        f->sldFilePreview->setValue(target);
        QVERIFY2(qAbs(Player().GetPosition() - target) <= 40,
                 qPrintable(QStringLiteral("sought %1, at %2").arg(target).arg(Player().GetPosition())));
        QTRY_VERIFY(f->picPreviewSmall->FramesPresented() > shown);
    }
    QVERIFY(Player().Rewind());
    QCOMPARE(Player().GetPosition(), 0);

    // Another selection drops what played: the button offers play, the slider is at 0.
    QTest::mouseClick(f->cmdPlay, Qt::LeftButton);
    QTRY_VERIFY_WITH_TIMEOUT(Player().GetPosition() > 0, 1000);
    OpenOne(Fixture("video.wmv"));
    QCOMPARE(f->PlayPicture(), QStringLiteral("PLAY"));
    QVERIFY(!f->FilePlaying);
    QCOMPARE(f->sldFilePreview->value(), 0);
    QCOMPARE(Player().GetPosition(), 0);
}

void TestMedia::previewOfStillsSoundAndEmptyFiles()
{
    frmMediaList* f = Form();
    OpenSeveral(FixtureFolder(), {"audio.wav", "empty.wav", "image.bmp", "image.gif", "image.jpg", "image.tga"});

    // A still of each kind: its picture, with neither slider nor play button.
    for (int row : {5, 2, 3, 4}) {
        if (row != 5)
            ClickRow(row);
        QVERIFY(f->sldFilePreview->isHidden());
        QVERIFY(f->cmdPlay->isHidden());
        QTRY_VERIFY(!f->picPreviewSmall->Frame().isNull());
        const int colours = ColourCount(f->picPreviewSmall->Frame());
        QVERIFY2(colours > 5, qPrintable(List()->Text(row) + QStringLiteral(": %1 colours").arg(colours)));
    }

    // Sound only: slider and button, and no pictures, before or while it plays.
    ClickRow(0);
    QVERIFY(f->sldFilePreview->isVisible());
    QVERIFY(f->cmdPlay->isVisible());
    QCOMPARE(f->sldFilePreview->maximum(), 3000);
    QVERIFY(f->picPreviewSmall->Frame().isNull());
    const int frames = f->picPreviewSmall->FramesPresented();
    QTest::mouseClick(f->cmdPlay, Qt::LeftButton);
    QCOMPARE(f->PlayPicture(), QStringLiteral("STOP"));
    QTRY_VERIFY_WITH_TIMEOUT(f->sldFilePreview->value() > 0, 1000);
    QTest::mouseClick(f->cmdPlay, Qt::LeftButton);
    QCOMPARE(f->picPreviewSmall->FramesPresented(), frames);
    QVERIFY(f->picPreviewSmall->Frame().isNull());

    // Zero length: play acts as a stop.
    ClickRow(1);
    QCOMPARE(Cells(1), (QStringList{"empty.wav", "Audio", "0:00:00.000", "     --", "44100 Hz"}));
    QCOMPARE(Player().GetDuration(), 0);
    QVERIFY(f->cmdPlay->isVisible());
    QTest::mouseClick(f->cmdPlay, Qt::LeftButton);
    QCOMPARE(f->PlayPicture(), QStringLiteral("PLAY"));
    QVERIFY(!f->FilePlaying);
    QVERIFY(!f->tmFilePreview->isActive());
    QTest::mouseClick(f->cmdPlay, Qt::LeftButton);
    QCOMPARE(f->PlayPicture(), QStringLiteral("PLAY"));
    QCOMPARE(Player().GetPosition(), 0);

    // Back to a still: the slider goes again.
    ClickRow(4);
    QVERIFY(f->sldFilePreview->isHidden());
    QVERIFY(f->cmdPlay->isHidden());
}

void TestMedia::everyKindOfFileOpensOrIsRefusedForItsFault()
{
    const QString fixtures = FixtureFolder() + u'/';
    const char* unknown = "The media type of this file is not recognized.";
    const char* invalid = "The file format is invalid.";
    QStringList names, expected;
    auto refused = [&](const QString& name, const char* reason) {
        names << name;
        expected << CantOpen(fixtures + name, reason);
    };
    // Nothing and text are of no media type, under every name the dialogue offers.
    for (const char* ext : {"aiff", "asf", "avi", "mpeg", "mpg", "wmv", "au", "mid", "midi", "mp3", "wav", "wma",
                            "bmp", "gif", "jpeg", "jpg", "tga"}) {
        refused(QStringLiteral("zero.") + QLatin1String(ext), unknown);
        refused(QStringLiteral("text.") + QLatin1String(ext), unknown);
    }
    // Cut inside their headers: invalid where enough is left to know the type by.
    for (const char* ext : {"avi", "aiff", "wma", "asf", "wav", "au", "mpg", "gif"})
        refused(QStringLiteral("truncated.") + QLatin1String(ext), invalid);
    for (const char* ext : {"mp3", "jpg"})
        refused(QStringLiteral("truncated.") + QLatin1String(ext), unknown);
    refused(QStringLiteral("toolong.au"), invalid);
    // These open, with their facts from the stream where the headers lie or are silent.
    const QStringList good = {"liar.au",   "liar.wav",  "nolength.mpg", "unsetrate.asf", "still.bmp",
                              "still.gif", "still.jpg", "still.png",    "still.tga",     "animated.gif"};
    names << good;
    OpenSeveral(FixtureFolder(), names);
    QCOMPARE(QmTest::TakeMessageTexts(), expected);

    const QString dash = QStringLiteral("     --");
    const QList<QStringList> rows = {
        {"liar.au", "Audio", "0:50:00.000", dash, "1 Hz"},
        {"liar.wav", "Audio", "0:00:02.000", dash, "11025 Hz"},
        {"nolength.mpg", "Video", "0:00:03.004", "320 x 240, 25fps", "44100 Hz"}, // 115 frames of sound
        {"unsetrate.asf", "Video", "0:00:02.042", "320 x 240, 25fps", "44100 Hz"},
        {"still.bmp", "Image", "0:00:05.000", "200 x 150", dash},
        {"still.gif", "Image", "0:00:05.000", "200 x 150", dash},
        {"still.jpg", "Image", "0:00:05.000", "200 x 150", dash},
        {"still.png", "Video", "0:00:05.000", "200 x 150", dash}, // not a name the list classes
        {"still.tga", "Image", "0:00:05.000", "200 x 150", dash},
        {"animated.gif", "Image", "0:00:05.000", "200 x 150", dash},
    };
    QCOMPARE(List()->Count(), rows.size());
    for (int row = 0; row < rows.size(); ++row)
        QCOMPARE(Cells(row), rows[row]);

    // The instant preview runs as long as the list says.
    frmMediaList* f = Form();
    for (const auto& [row, ms] : {std::pair{0, 3000000}, std::pair{1, 2000}, std::pair{2, 3004}}) {
        ClickRow(row);
        QCOMPARE(f->sldFilePreview->maximum(), ms);
        QCOMPARE(Player().GetDuration(), ms);
    }
}

void TestMedia::mutatedFilesAreOpenedOrRefusedCalmly()
{
    // Good files spoilt by a fixed seed: bytes changed, 32-bit fields of their headers
    // set to extremes, cut anywhere. Each goes through the open routine, the instant
    // preview, the timeline and its player; the error trap must never hear of them.
    const QStringList bases = {"video.avi", "video.asf", "video.wmv",  "video.mpg", "unsetrate.asf",
                               "audio.aiff", "audio.au", "audio.mp3",  "audio.wav", "audio.wma",
                               "image.bmp", "image.gif", "image.jpg",  "image.tga"};
    std::mt19937 random(20031);
    auto below = [&random](qsizetype n) {
        return static_cast<qsizetype>(random() % static_cast<uint32_t>(std::max<qsizetype>(1, n)));
    };
    // Each in a folder of its own under its base's name, those of one base in a row, so
    // that after the first of them the recent files menu holds the name already and the
    // settings are not written anew each time.
    const QString root = QmTest::Root().path() + QStringLiteral("/mutated");
    QStringList folders;
    constexpr int kFiles = 280;
    for (int i = 0; i < kFiles; ++i) {
        const QString base = bases[i * bases.size() / kFiles];
        QFile in(Fixture(qPrintable(base)));
        QVERIFY(in.open(QIODevice::ReadOnly));
        QByteArray bytes = in.readAll();
        const int kind = static_cast<int>(random() % 4);
        if (kind == 0) { // bytes of the header changed
            for (int n = 1 + static_cast<int>(below(8)); n > 0; --n)
                bytes[below(std::min<qsizetype>(bytes.size(), 512))] = static_cast<char>(random());
        } else if (kind == 1) { // fields of the header set to extremes, in either byte order
            static const uint32_t extremes[] = {0, 1, 0x7FFFFFFF, 0x80000000, 0xFFFFFFFF, 0x00010000};
            const bool little = random() % 2;
            for (int n = 1 + static_cast<int>(below(3)); n > 0; --n) {
                const uint32_t value = random() % 3 ? extremes[below(6)] : static_cast<uint32_t>(random());
                const qsizetype at = below(std::min<qsizetype>(bytes.size(), 256) / 4) * 4;
                for (int b = 0; b < 4 && at + b < bytes.size(); ++b)
                    bytes[at + b] = static_cast<char>(little ? value >> (8 * b) : value >> (24 - 8 * b));
            }
        } else if (kind == 2) { // cut anywhere
            bytes.truncate(below(bytes.size()));
        } else { // a run of noise somewhere, and the end cut off
            const qsizetype at = below(bytes.size());
            for (qsizetype b = at; b < std::min(bytes.size(), at + 64); ++b)
                bytes[b] = static_cast<char>(random());
            bytes.truncate(bytes.size() - below(bytes.size() / 2));
        }
        const QString folder = root + QStringLiteral("/%1").arg(i, 3, 10, QChar(u'0'));
        QDir().mkpath(folder);
        QFile out(folder + u'/' + base);
        QVERIFY(out.open(QIODevice::WriteOnly) && out.write(bytes) == bytes.size());
        folders << folder;
    }

    // Each refusal names one of the table's reasons, never "Unexpected error."
    const QStringList reasons = {"The media type of this file is not recognized.",
                                 "The file format is invalid.",
                                 "Cannot play back the file: the format is not supported.",
                                 "The source filter for this media file could not be loaded.",
                                 "Some of the streams in this media file are in an unsupported format.",
                                 "The video in this media file cannot be rendered.",
                                 "The audio in this media file cannot be rendered."};
    for (int i = 0; i < kFiles; ++i)
        OpenSeveral(folders[i], {bases[i * bases.size() / kFiles]});
    int refusals = 0;
    for (const QString& text : QmTest::TakeMessageTexts()) {
        const QString reason = text.section(QStringLiteral("\r\n"), 1);
        QVERIFY2(text.startsWith(QStringLiteral("Unable to open")) && (reason.isEmpty() || reasons.contains(reason)),
                 qPrintable(text));
        ++refusals;
    }
    const int opened = List()->Count();
    qInfo("%d of %d mutated files opened, %d refused", opened, kFiles, refusals);
    QVERIFY(opened > kFiles / 8 && refusals > kFiles / 8); // both ways are taken

    // Every row's facts are whole: a length, a picture's size and rate, a sample rate,
    // none of them negative.
    const QRegularExpression length(QStringLiteral("^\\d+:\\d\\d:\\d\\d[.:]\\d\\d\\d$"));
    const QRegularExpression picture(QStringLiteral("^(\\d+ x \\d+(, \\d+fps)?|     --)$"));
    const QRegularExpression sound(QStringLiteral("^(\\d+ Hz|     --)$"));
    for (int row = 0; row < opened; ++row) {
        const QStringList cells = Cells(row);
        QVERIFY2(length.match(cells[2]).hasMatch() && picture.match(cells[3]).hasMatch() && sound.match(cells[4]).hasMatch(),
                 qPrintable(cells.join(u'|')));
    }

    // The instant preview of each, then all of them on the timeline, and the player's
    // frames at each source.
    for (int row = 0; row < opened; ++row) {
        ClickRow(row);
        QVERIFY(Player().GetDuration() >= 0);
    }
    for (int row = 0; row < opened; ++row)
        List()->SetSelected(row, true);
    Main()->RunCommand(QStringLiteral("mnuEditAddToTimeline"));
    auto& tl = Eng<ITWTimeline>();
    auto& preview = Eng<ITWPreview>();
    QVERIFY(tl.GetSourceCount(QmTest::Video()) > 0 && tl.GetSourceCount(QmTest::Audio1()) > 0);
    for (int32_t track : {QmTest::Video(), QmTest::Audio1()}) {
        for (int16_t seq = 0; seq < tl.GetSourceCount(track); ++seq) {
            int32_t start = 0, stop = 0;
            QVERIFY(tl.GetSourceTimes(track, seq, start, stop));
            QVERIFY2(start >= 0 && stop >= start, qPrintable(QStringLiteral("%1..%2").arg(start).arg(stop)));
            preview.Seek(start + (stop - start) / 2);
        }
    }
    QVERIFY(preview.GetDuration() >= 0);
}

void TestMedia::previewStopsAndRewindsAtTheEnd()
{
    frmMediaList* f = Form();
    OpenOne(Fixture("video.avi"));
    f->sldFilePreview->setValue(1200);
    QTest::mouseClick(f->cmdPlay, Qt::LeftButton);
    QVERIFY(f->FilePlaying);
    // The timer sees the end, stops, and rewinds.
    QTRY_VERIFY_WITH_TIMEOUT(!f->FilePlaying, 5000);
    QVERIFY(!f->tmFilePreview->isActive());
    QCOMPARE(f->PlayPicture(), QStringLiteral("PLAY"));
    QCOMPARE(Player().GetPosition(), 0);
    QCOMPARE(f->sldFilePreview->value(), 0);

    // From the start, the whole file plays to its end as well.
    QTest::mouseClick(f->cmdPlay, Qt::LeftButton);
    QElapsedTimer clock;
    clock.start();
    QTRY_VERIFY_WITH_TIMEOUT(!f->FilePlaying, 6000);
    QVERIFY2(clock.elapsed() >= 1500, qPrintable(QString::number(clock.elapsed())));
    QCOMPARE(Player().GetPosition(), 0);
}

QM_TEST_MAIN(TestMedia)
#include "test_media.moc"
