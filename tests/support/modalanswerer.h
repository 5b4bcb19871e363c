#pragma once

#include <QList>
#include <QMessageBox>
#include <QObject>
#include <QPointer>
#include <QString>
#include <QStringList>

// What a modal box or dialog showed.
struct ModalRecord
{
    QString className;
    QString title;
    QString text;
    QStringList buttons;
    QMessageBox::Icon icon = QMessageBox::NoIcon;
};

// Watches for modal windows as they are shown and answers each from a script, so that product code
// may call QMessageBox and QFileDialog as it always does and tests never hang. A modal window that
// the script does not expect is recorded as unexpected and rejected.
class ModalAnswerer : public QObject
{
    Q_OBJECT

public:
    struct Answer
    {
        enum Kind { Button, ButtonText, Files, Accept, Reject } kind = Accept;
        QMessageBox::StandardButton button = QMessageBox::NoButton;
        QString buttonText;
        QStringList files;
    };
    static Answer button(QMessageBox::StandardButton button) { return {Answer::Button, button, {}, {}}; }
    static Answer buttonText(const QString& text) { return {Answer::ButtonText, QMessageBox::NoButton, text, {}}; }
    static Answer files(const QStringList& files) { return {Answer::Files, QMessageBox::NoButton, {}, files}; }
    static Answer accept() { return {}; }
    static Answer reject() { return {Answer::Reject, QMessageBox::NoButton, {}, {}}; }

    explicit ModalAnswerer(const QList<Answer>& script = {});
    ~ModalAnswerer() override;

    void expect(const Answer& answer);
    const QList<ModalRecord>& seen() const;
    // What a run showed: each message box as "title: text", and with `others` every other window
    // by its class name, in the order they came.
    QStringList shown(bool others = false) const;
    // Descriptions of the modal windows that came when the script had no answer left.
    const QStringList& unexpected() const;
    // True when every scripted answer was used and nothing unexpected came.
    bool done() const;
    QString report() const;

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void answer(QPointer<QWidget> window);

    QList<Answer> script;
    QList<ModalRecord> records;
    QStringList surprises;
};
