#pragma once

#include <QCoreApplication>
#include <QList>
#include <QString>
#include <QVariant>

enum class UploadOutputType { Folder = 0, CatalogId = 1 };

struct UploadOption
{
    QString name;
    QVariant value;
};

// Where an upload goes. It owns its options.
struct UploadOutput
{
    UploadOutput() = default;
    ~UploadOutput();
    Q_DISABLE_COPY(UploadOutput)

    UploadOutputType type = UploadOutputType::Folder;
    QString value;
    QString description;
    QList<UploadOption*> options;
};

// The job document handed to the uploader tool. It owns its inputs. The reader keeps every file but
// only the two options the uploader documents; this program writes no options of its own.
class UploadDocument
{
    Q_DECLARE_TR_FUNCTIONS(UploadDocument)

public:
    UploadDocument() = default;
    ~UploadDocument();
    Q_DISABLE_COPY(UploadDocument)

    // A new record for the caller to own, or null with the reason in `error`. A file that cannot be
    // opened leaves `error` as it was.
    static UploadDocument* read(const QString& path, QString& error);
    // False when the file cannot be opened, with `error` left as it was.
    bool write(const QString& path, QString& error) const;

    QString path;
    QString version;
    QString logFile;
    QList<QString*> inputs;
    UploadOutput output;
};
