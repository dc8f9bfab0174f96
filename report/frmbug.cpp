#include "report/frmbug.h"

#include "ui_frmbug.h"

#include "core/QmModal.h"
#include "core/QmMsgBox.h"
#include "core/QmPaths.h"
#include "core/QmShared.h"
#include "core/QmTrap.h"
#include "core/QmWeb.h"
#include "core/moduleUtilities.h"
#include "engine/ITWCoreRoot.h"
#include "timeline/moduleTimeline.h"

#include <QDateTime>
#include <QFile>
#include <QLocale>
#include <QMouseEvent>
#include <QStringList>
#include <QStyle>
#include <QSysInfo>
#include <QVersionNumber>

#include <array>
#include <cstdint>

namespace {

const QString Version = QStringLiteral("1.8 Release 1");

// The components whose versions go into a record, by the names the engine knows them.
const std::array<QString, 3> ReportedComponents = {QStringLiteral("mscomctl.ocx"), QStringLiteral("comdlg32.ocx"),
                                                   QStringLiteral("msxml.dll")};

// A figure that needs the engine: left empty when there is no engine or it fails, so
// that the record is written all the same.
template <class F>
QString EngineFigure(F&& figure)
{
    try {
        return figure();
    } catch (...) {
        return QString();
    }
}

QString Joined(std::initializer_list<int32_t> numbers)
{
    QStringList parts;
    for (int32_t n : numbers)
        parts << QString::number(n);
    return parts.join(QStringLiteral(", "));
}

// The system's short date with its long time, without the zone, as the system's
// general date writes the present moment.
QString PresentDateTime()
{
    const QLocale locale = QLocale::system();
    QString timeFormat = locale.timeFormat(QLocale::LongFormat);
    timeFormat.remove(QLatin1Char('t'));
    timeFormat = timeFormat.trimmed();
    const QDateTime now = QDateTime::currentDateTime();
    return locale.toString(now.date(), QLocale::ShortFormat) + QLatin1Char(' ') + locale.toString(now.time(), timeFormat);
}

// The system by its name, then the kernel's version with its major and minor number
// and the kernel's kind ("linux").
QString SystemText()
{
    const QString kernel = QSysInfo::kernelVersion();
    const QVersionNumber version = QVersionNumber::fromString(kernel);
    return QSysInfo::prettyProductName() + QStringLiteral(" Version: [") + kernel + QStringLiteral("]") +
           QStringLiteral(" Major: [") + QString::number(version.majorVersion()) + QStringLiteral("]") +
           QStringLiteral(" Minor: [") + QString::number(version.minorVersion()) + QStringLiteral("]") +
           QStringLiteral(" Platform: [") + QSysInfo::kernelType() + QStringLiteral("]");
}

QString FileVersions()
{
    auto& root = QmShared::Eng<ITWCoreRoot>();
    QStringList parts;
    for (const QString& component : ReportedComponents) {
        int32_t major = 0, minor = 0, build = 0, revision = 0;
        root.GetFileVersionInfo(component, major, minor, build, revision);
        parts << Joined({major, minor, build, revision});
    }
    return parts.join(QStringLiteral(", "));
}

QString MemoryStatus()
{
    int32_t load = 0, totalPhysical = 0, freePhysical = 0, freeSwap = 0;
    QmShared::Eng<ITWCoreRoot>().GetMemoryStatus(load, totalPhysical, freePhysical, freeSwap);
    return Joined({load, totalPhysical, freePhysical, freeSwap});
}

QString LanguageId()
{
    // The engine fills a buffer of 10; blanks and NULs of the fill are not part of it.
    QString text = QmShared::Eng<ITWCoreRoot>().GetSystemVersion(10);
    text.remove(QChar(u'\0'));
    return text.trimmed();
}

// One value of an HTML attribute between single quotes. Beyond the markup characters,
// everything outside printable ASCII is written as a character reference, so the page
// reads the same whatever encoding the browser assumes for it.
QString AttributeValue(const QString& text)
{
    QString escaped;
    escaped.reserve(text.size() + text.size() / 8);
    for (char32_t c : text.toUcs4()) {
        switch (c) {
        case U'&':
            escaped += QStringLiteral("&amp;");
            break;
        case U'<':
            escaped += QStringLiteral("&lt;");
            break;
        case U'>':
            escaped += QStringLiteral("&gt;");
            break;
        case U'"':
            escaped += QStringLiteral("&quot;");
            break;
        case U'\'':
            escaped += QStringLiteral("&#39;");
            break;
        default:
            if (c >= 0x20 && c < 0x7F)
                escaped += QChar(static_cast<char16_t>(c));
            else
                escaped += QStringLiteral("&#%1;").arg(static_cast<uint32_t>(c));
        }
    }
    return escaped;
}

// The log as one text: each line followed by " <br>", carriage returns and line feeds
// within a line dropped.
QString JoinedLog()
{
    QFile log(frmbug::ErrLogPath());
    if (!log.open(QIODevice::ReadOnly))
        return QString();
    const QString text = QString::fromUtf8(log.readAll());
    QStringList lines = text.split(QLatin1Char('\n'));
    if (text.isEmpty() || text.endsWith(QLatin1Char('\n')))
        lines.removeLast(); // no line follows the last line end
    QString joined;
    for (QString& line : lines) {
        line.remove(QLatin1Char('\r'));
        joined += line + QStringLiteral(" <br>");
    }
    return joined;
}

QString ReportContentsText()
{
    return QStringLiteral("This error report includes information regarding the condition of Quillmont when the problem ") +
           QStringLiteral("occured and the Operating System Version.") + QStringLiteral("\r\n") +
           QStringLiteral("We do not collect your files, name, address and/or e-mail address or any other form of personally ") +
           QStringLiteral("identifiable information. The error report does not contain any Customer Specific Information whatsoever. ") +
           QStringLiteral("The data we collect will only be used to fix the problem. If more information is available we will ") +
           QStringLiteral("let you know. This error report will be considered confidential and will not be ") +
           QStringLiteral("used for any marketing purposes by Brindlecove.");
}

} // namespace

frmbug::frmbug(QWidget* parent)
    : QDialog(parent)
    , ui(std::make_unique<Ui::frmbug>())
{
    ui->setupUi(this);
    setWindowFlag(Qt::WindowContextHelpButtonHint, false);
    ui->imgIcon->setPixmap(style()->standardIcon(QStyle::SP_MessageBoxWarning).pixmap(48, 48));
    // The link is a label; a click anywhere on it opens the explanation.
    ui->lblReportContents->installEventFilter(this);
    connect(ui->cmdsendreport, &QPushButton::clicked, this, &frmbug::cmdsendreport_Click);
    connect(ui->frmdontsend, &QPushButton::clicked, this, &frmbug::frmdontsend_Click);
}

frmbug::~frmbug() = default;

void frmbug::InstallReporter()
{
    QmTrap::SetReporter([](const QString& module, const QString& function, const QmError& error) {
        try {
            frmbug& form = *instance();
            form.SetErrDescription(error.Description());
            form.SetErrFunction(function);
            form.SetErrModule(module);
            form.SetErrNumber(QString::number(error.Number()));
            // An error raised behind the open form (a timer, say) can only be logged:
            // the form cannot be shown twice.
            if (function.endsWith(QLatin1Char('*')) || form.isVisible()) {
                form.WriteError();
                return;
            }
            form.Form_Load();
            QmModal::Exec(form);
        } catch (...) {
            // Reporting never raises in turn.
        }
    });
}

void frmbug::SetErrDescription(const QString& text)
{
    m_description = text;
}

void frmbug::SetErrNumber(const QString& text)
{
    m_number = text;
}

void frmbug::SetErrModule(const QString& text)
{
    m_module = text;
}

void frmbug::SetErrFunction(const QString& text)
{
    m_function = text;
}

QString frmbug::ErrLogPath()
{
    return QmPaths::WritableAppFolder() + QStringLiteral("/ErrLog.asr");
}

QString frmbug::ReportPagePath()
{
    return moduleUtilities::GetTempFolder() + QStringLiteral("/ErrLog.htm");
}

void frmbug::WriteError()
{
    try {
        const QStringList lines = {
            QStringLiteral("Date         : ") + PresentDateTime(),
            QStringLiteral("Ver          : ") + Version,
            QStringLiteral("OS           : ") + SystemText(),
            QStringLiteral("Number       : ") + m_number,
            QStringLiteral("Description  : ") + m_description,
            QStringLiteral("Module       : ") + m_module,
            QStringLiteral("Function     : ") + m_function,
            QStringLiteral("Zoom Factor  : ") + QString::number(QmShared::ZoomFactor),
            QStringLiteral("Slider Pos   : ") + QString::number(QmShared::SliderPosition),
            QStringLiteral("Duration     : ") +
                EngineFigure([] { return QString::number(moduleTimeline::GetTimelineDuration()); }),
            QStringLiteral("File Vers    : ") + EngineFigure(FileVersions),
            QStringLiteral("Mem Status   : ") + EngineFigure(MemoryStatus),
            QStringLiteral("Lang ID      : ") + EngineFigure(LanguageId),
            QStringLiteral(" "),
        };
        // Opened and closed for each record, so that the log is whole on disk even if
        // the program dies right after.
        QFile log(ErrLogPath());
        if (!log.open(QIODevice::WriteOnly | QIODevice::Append))
            return;
        log.write((lines.join(QLatin1Char('\n')) + QLatin1Char('\n')).toUtf8());
        log.close();
    } catch (...) {
        // A failure while logging is not reported: reporting it would loop.
    }
}

void frmbug::Form_Load()
{
    WriteError();
}

bool frmbug::WriteReportPage()
{
    const QStringList page = {
        QStringLiteral("<html>"),
        QStringLiteral("<HEAD>"),
        QStringLiteral("<SCRIPT LANGUAGE='javascript'>"),
        QStringLiteral("function justSubmit()"),
        QStringLiteral("{"),
        QStringLiteral("document.frmlogin.submit()"),
        QStringLiteral("}"),
        QStringLiteral("</SCRIPT>"),
        QStringLiteral("</HEAD>"),
        QStringLiteral("<BODY ONLOAD='justSubmit()'>"),
        QStringLiteral("<FORM NAME='frmlogin' METHOD='post' ACTION='") +
            AttributeValue(QmWeb::Address(QStringLiteral("/Quillmont/err_mail_qmt.aspx"))) + QStringLiteral("'>"),
        QStringLiteral("<INPUT TYPE='hidden' NAME='bodytext' VALUE='") + AttributeValue(JoinedLog()) +
            QStringLiteral("'>"),
        QStringLiteral("</FORM>"),
        QStringLiteral("</BODY>"),
        QStringLiteral("</HTML>"),
    };
    QFile file(ReportPagePath());
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        return false;
    const QByteArray bytes = (page.join(QLatin1Char('\n')) + QLatin1Char('\n')).toUtf8();
    const bool written = file.write(bytes) == bytes.size();
    file.close();
    return written && file.error() == QFileDevice::NoError;
}

bool frmbug::eventFilter(QObject* watched, QEvent* event)
{
    if (watched == ui->lblReportContents && event->type() == QEvent::MouseButtonRelease) {
        const auto* mouse = static_cast<QMouseEvent*>(event);
        if (mouse->button() == Qt::LeftButton && ui->lblReportContents->rect().contains(mouse->position().toPoint())) {
            lblReportContents_Click();
            return true;
        }
    }
    return QDialog::eventFilter(watched, event);
}

void frmbug::lblReportContents_Click()
{
    try {
        MsgBox(ReportContentsText(), QmMsgBox::Icon::None, QmMsgBox::Buttons::OkOnly, QStringLiteral("Quillmont"));
    } catch (...) {
    }
}

void frmbug::cmdsendreport_Click()
{
    try {
        // The report once carried a copy of the project as ErrPrj.qpj in the temporary
        // folder; nothing is written there now, and the name stays reserved for it.

        // The log goes only once the page holds it: a page that could not be written
        // leaves the log for the next report.
        const bool written = WriteReportPage();
        if (written)
            QFile::remove(ErrLogPath());
        accept();
        if (written)
            QmDesktop::Open(ReportPagePath());
    } catch (...) {
        accept();
    }
}

void frmbug::frmdontsend_Click()
{
    reject();
}
