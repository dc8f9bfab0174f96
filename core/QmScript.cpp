#include "core/QmScript.h"

#include <QFile>
#include <QQueue>
#include <QTextStream>

#include <utility>

namespace QmScript {

namespace {

struct State
{
    bool enabled = false;
    UnexpectedHandler onUnexpected;
    QString logPath; // scripted through the environment
    QQueue<QmMsgBox::Result> messageAnswers;
    QList<ShownMessage> messages;
    struct DialogAnswer
    {
        bool cancel = false;
        QVariant value;
    };
    QQueue<DialogAnswer> dialogAnswers;
    QList<DialogRequest> dialogs;
    QQueue<std::function<void(QDialog&)>> modalHandlers;
    QList<QString> opened;
    bool desktopCanOpen = true;
};

State& S()
{
    static State state;
    return state;
}

void Log(const QString& line)
{
    if (S().logPath.isEmpty())
        return;
    QFile file(S().logPath);
    if (!file.open(QIODevice::Append | QIODevice::Text))
        return;
    QString escaped = line;
    escaped.replace(QLatin1String("\r\n"), QLatin1String("\\r\\n"));
    escaped.replace(QLatin1Char('\n'), QLatin1String("\\n"));
    QTextStream(&file) << escaped << '\n';
}

QmMsgBox::Result ParseAnswer(const QString& word)
{
    const QString w = word.trimmed().toLower();
    if (w == QLatin1String("yes"))
        return QmMsgBox::Yes;
    if (w == QLatin1String("no"))
        return QmMsgBox::No;
    if (w == QLatin1String("cancel"))
        return QmMsgBox::Cancel;
    if (w == QLatin1String("retry"))
        return QmMsgBox::Retry;
    if (w == QLatin1String("abort"))
        return QmMsgBox::Abort;
    if (w == QLatin1String("ignore"))
        return QmMsgBox::Ignore;
    return QmMsgBox::OK;
}

} // namespace

void Enable(UnexpectedHandler onUnexpected)
{
    Disable();
    S().enabled = true;
    S().onUnexpected = std::move(onUnexpected);
}

void Disable()
{
    S() = State();
}

bool Enabled()
{
    return S().enabled;
}

void EnableFromEnvironment()
{
    const QString log = qEnvironmentVariable("QUILLMONT_SCRIPT_LOG");
    if (log.isEmpty())
        return;
    Enable({});
    S().logPath = log;
    const QString answers = qEnvironmentVariable("QUILLMONT_SCRIPT_ANSWERS");
    for (const QString& word : answers.split(QLatin1Char(','), Qt::SkipEmptyParts))
        S().messageAnswers.enqueue(ParseAnswer(word));
}

void Note(const QString& line)
{
    Log(line);
}

void DropMessageAnswers()
{
    S().messageAnswers.clear();
}

void AnswerMessage(QmMsgBox::Result answer)
{
    S().messageAnswers.enqueue(answer);
}

QList<ShownMessage> TakeMessages()
{
    return std::exchange(S().messages, {});
}

int PendingMessageAnswers()
{
    return static_cast<int>(S().messageAnswers.size());
}

void AnswerDialog(const QVariant& answer)
{
    S().dialogAnswers.enqueue({false, answer});
}

void CancelDialog()
{
    S().dialogAnswers.enqueue({true, {}});
}

QList<DialogRequest> TakeDialogs()
{
    return std::exchange(S().dialogs, {});
}

void HandleModal(std::function<void(QDialog&)> handler)
{
    S().modalHandlers.enqueue(std::move(handler));
}

QList<QString> TakeOpened()
{
    return std::exchange(S().opened, {});
}

void SetDesktopCanOpen(bool canOpen)
{
    S().desktopCanOpen = canOpen;
}

namespace Detail {

QmMsgBox::Result NextMessageAnswer(const ShownMessage& shown, bool& found)
{
    ShownMessage record = shown;
    found = !S().messageAnswers.isEmpty();
    if (found) {
        record.answer = S().messageAnswers.dequeue();
    } else if (shown.buttons == QmMsgBox::Buttons::OkOnly) {
        found = true; // one button, one answer
        record.answer = QmMsgBox::OK;
    } else {
        // No answer waiting: the first button, as Enter would press it.
        switch (shown.buttons) {
        case QmMsgBox::Buttons::OkCancel:
        case QmMsgBox::Buttons::OkOnly:
            record.answer = QmMsgBox::OK;
            break;
        case QmMsgBox::Buttons::AbortRetryIgnore:
            record.answer = QmMsgBox::Abort;
            break;
        case QmMsgBox::Buttons::YesNoCancel:
        case QmMsgBox::Buttons::YesNo:
            record.answer = QmMsgBox::Yes;
            break;
        case QmMsgBox::Buttons::RetryCancel:
            record.answer = QmMsgBox::Retry;
            break;
        }
    }
    S().messages.append(record);
    Log(QStringLiteral("MSGBOX\t%1\t%2").arg(shown.title, shown.text));
    if (!found)
        Unexpected(QStringLiteral("a message box with no answer waiting: ") + shown.text);
    return record.answer;
}

bool NextDialogAnswer(const DialogRequest& request, QVariant& answer)
{
    S().dialogs.append(request);
    Log(QStringLiteral("DIALOG\t%1\t%2").arg(request.kind, request.title));
    if (S().dialogAnswers.isEmpty()) {
        Unexpected(QStringLiteral("a %1 dialogue with no answer waiting").arg(request.kind));
        return false;
    }
    const State::DialogAnswer next = S().dialogAnswers.dequeue();
    answer = next.value;
    return !next.cancel;
}

bool NextModalHandler(const QString& formName, std::function<void(QDialog&)>& handler)
{
    Log(QStringLiteral("FORM\t%1").arg(formName));
    if (S().modalHandlers.isEmpty()) {
        Unexpected(QStringLiteral("the form %1 shown modally with nobody to answer it").arg(formName));
        return false;
    }
    handler = S().modalHandlers.dequeue();
    return true;
}

bool RecordOpened(const QString& target)
{
    S().opened.append(target);
    Log(QStringLiteral("OPEN\t%1").arg(target));
    return S().desktopCanOpen;
}

void Unexpected(const QString& what)
{
    Log(QStringLiteral("UNEXPECTED\t%1").arg(what));
    if (S().onUnexpected)
        S().onUnexpected(what);
}

} // namespace Detail

} // namespace QmScript
