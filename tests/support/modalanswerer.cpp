#include "tests/support/modalanswerer.h"

#include <QAbstractButton>
#include <QApplication>
#include <QEvent>
#include <QFileDialog>
#include <QLineEdit>
#include <QTimer>

ModalAnswerer::ModalAnswerer(const QList<Answer>& script)
    : script(script)
{
    // Native dialogs cannot be driven; Qt's own widgets dialogs can.
    QCoreApplication::setAttribute(Qt::AA_DontUseNativeDialogs);
    qApp->installEventFilter(this);
}

ModalAnswerer::~ModalAnswerer()
{
    qApp->removeEventFilter(this);
}

void ModalAnswerer::expect(const Answer& answer)
{
    script.append(answer);
}

const QList<ModalRecord>& ModalAnswerer::seen() const
{
    return records;
}

QStringList ModalAnswerer::shown(bool others) const
{
    QStringList lines;
    for (const ModalRecord& record : records) {
        if (record.className == QLatin1String("QMessageBox"))
            lines.append(record.title + QStringLiteral(": ") + record.text);
        else if (others)
            lines.append(record.className);
    }
    return lines;
}

const QStringList& ModalAnswerer::unexpected() const
{
    return surprises;
}

bool ModalAnswerer::done() const
{
    return script.isEmpty() && surprises.isEmpty();
}

QString ModalAnswerer::report() const
{
    QStringList lines;
    for (const QString& surprise : surprises)
        lines.append(QStringLiteral("unexpected: ") + surprise);
    if (!script.isEmpty())
        lines.append(QStringLiteral("%1 scripted answer(s) never used").arg(script.size()));
    return lines.join(QLatin1Char('\n'));
}

bool ModalAnswerer::eventFilter(QObject* watched, QEvent* event)
{
    if (event->type() == QEvent::Show && watched->isWidgetType()) {
        auto* widget = static_cast<QWidget*>(watched);
        if (widget->isWindow() && widget->isModal()) {
            // Answered from the dialog's own event loop: answering during show() would close it
            // before exec() starts waiting.
            QPointer<QWidget> window(widget);
            QTimer::singleShot(0, this, [this, window] { answer(window); });
        }
    }
    return QObject::eventFilter(watched, event);
}

void ModalAnswerer::answer(QPointer<QWidget> window)
{
    if (!window || !window->isVisible())
        return;
    ModalRecord record;
    record.className = QString::fromLatin1(window->metaObject()->className());
    record.title = window->windowTitle();
    auto* box = qobject_cast<QMessageBox*>(window.data());
    if (box) {
        record.text = box->text();
        record.icon = box->icon();
        for (QAbstractButton* button : box->buttons())
            record.buttons.append(button->text());
    }
    records.append(record);

    auto* dialog = qobject_cast<QDialog*>(window.data());
    if (script.isEmpty()) {
        surprises.append(QStringLiteral("%1 \"%2\" %3").arg(record.className, record.title, record.text));
        if (dialog)
            dialog->reject();
        else
            window->close();
        return;
    }
    const Answer next = script.takeFirst();
    switch (next.kind) {
    case Answer::Button:
        if (box && box->button(next.button)) {
            box->button(next.button)->click();
            return;
        }
        break;
    case Answer::ButtonText:
        if (box) {
            for (QAbstractButton* button : box->buttons()) {
                if (button->text() == next.buttonText) {
                    button->click();
                    return;
                }
            }
        }
        break;
    case Answer::Files:
        if (auto* fileDialog = qobject_cast<QFileDialog*>(window.data())) {
            if (!next.files.isEmpty())
                fileDialog->setDirectory(QFileInfo(next.files.first()).absolutePath());
            QStringList quoted;
            for (const QString& file : next.files)
                quoted.append(QLatin1Char('"') + QFileInfo(file).fileName() + QLatin1Char('"'));
            if (auto* edit = fileDialog->findChild<QLineEdit*>(QStringLiteral("fileNameEdit")))
                edit->setText(next.files.size() == 1 ? QFileInfo(next.files.first()).fileName()
                                                     : quoted.join(QLatin1Char(' ')));
            QMetaObject::invokeMethod(fileDialog, "accept");
            return;
        }
        break;
    case Answer::Accept:
        if (dialog) {
            dialog->accept();
            return;
        }
        break;
    case Answer::Reject:
        if (dialog) {
            dialog->reject();
            return;
        }
        break;
    }
    surprises.append(
        QStringLiteral("cannot answer %1 \"%2\" %3 as scripted").arg(record.className, record.title, record.text));
    if (dialog)
        dialog->reject();
    else
        window->close();
}
