#pragma once

#include <QList>
#include <QProcessEnvironment>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>
#include <memory>

// A temporary tool directory, named by KARTOPRESS_TOOL_DIR while this object lives, in which the
// fake tool stands under the names of the real tools. See faketool.cpp for the script language.
class FakeTool
{
public:
    // subdirectory: a folder inside the temporary directory to use as the tool directory, for paths
    // with blanks. A FakeTool that is not the tool directory stands in for programs found elsewhere,
    // such as on the PATH.
    enum Role { ToolDirectory, ElsewhereOnly };
    explicit FakeTool(const QString& subdirectory = QString(), Role role = ToolDirectory);
    ~FakeTool();

    QString directory() const;
    // Installs the fake tool as `name` ("/diskspd" or "diskspd") and returns its path.
    QString install(const QString& name);
    void setScript(const QString& name, const QStringList& lines);

    struct Invocation
    {
        QStringList arguments;
        QString workingDirectory;
        QProcessEnvironment environment;
    };
    QList<Invocation> invocations(const QString& name) const;

    // Escapes bytes for an "out" or "err" script line.
    static QString escaped(const QByteArray& bytes);

private:
    QString pathOf(const QString& name) const;

    QTemporaryDir root;
    QString toolDirectory;
    Role role;
    QByteArray previousToolDir;
};
