// The help viewer: Qt Assistant on a help collection, driven through its remote control.
#include <QtCore/QFileInfo>
#include <QtCore/QLibraryInfo>
#include <QtCore/QProcess>
#include <QtCore/QStandardPaths>

#include <cstdlib>

#include "uiruntime/core.h"
#include "uiruntime/syshelp.h"
#include "uiruntime/utility.h"

namespace uir {

namespace {

QProcess* g_viewer = nullptr;
QString g_collection;

QString viewerProgram() {
    const char* env = std::getenv("TALMIK_HELP_VIEWER");
    if (env && *env) return QString::fromLocal8Bit(env);
    QString bundled = QLibraryInfo::path(QLibraryInfo::BinariesPath) + QStringLiteral("/assistant");
    if (QFileInfo(bundled).isExecutable()) return bundled;
    return QStandardPaths::findExecutable(QStringLiteral("assistant"));
}

// Keywords go into a command line of the viewer: no separators or line breaks may pass.
QString cleanKeyword(const char* text) {
    QString k = QString::fromUtf8(text ? text : "").left(255);
    k.replace(QLatin1Char(';'), QLatin1Char(' '));
    k.replace(QLatin1Char('\n'), QLatin1Char(' '));
    k.replace(QLatin1Char('\r'), QLatin1Char(' '));
    return k.trimmed();
}

bool viewerRunning() { return g_viewer && g_viewer->state() != QProcess::NotRunning; }

// The index is filtered by the keyword and its topic opened. A viewer that is still starting
// keeps only the last command and cannot yet use its index, so the identifier (which the help
// project gives every keyword) comes last: it opens the page from the help database directly.
// A keyword without a page leaves the index showing the entries nearest to it.
QString keyLookup(const QString& keyword) {
    return QStringLiteral("show index;activateKeyword %1;activateIdentifier %1").arg(keyword);
}

}  // namespace

void stopHelpViewer() {
    if (!g_viewer) return;
    if (g_viewer->state() != QProcess::NotRunning) {
        g_viewer->closeWriteChannel();
        g_viewer->terminate();
        if (!g_viewer->waitForFinished(3000)) {
            g_viewer->kill();
            g_viewer->waitForFinished(1000);
        }
    }
    delete g_viewer;
    g_viewer = nullptr;
    g_collection.clear();
}

}  // namespace uir

using namespace uir;

int SystemHelp(const char* helpFile, int command, long, const char* additionalStringData) {
    if (!runtime() || !onGuiThread()) {
        report("SystemHelp", runtime() ? UIENotOnGuiThread : UIENotInitialized);
        return 0;
    }
    if (command == HELP_QUIT) {
        stopHelpViewer();
        return 1;
    }
    if (command != HELP_KEY && command != HELP_PARTIALKEY && command != HELP_CONTENTS) {
        report("SystemHelp", UIEInvalidAttributeValue);
        return 0;
    }
    if (!helpFile) {
        report("SystemHelp", UIENullPointer);
        return 0;
    }
    QFileInfo file(QString::fromStdString(resolveProgramFile(helpFile)));
    if (!file.isFile()) {
        report("SystemHelp", UIEFileNotFound);
        return 0;
    }
    QString collection = file.absoluteFilePath();
    if (viewerRunning() && collection != g_collection) stopHelpViewer();
    if (!viewerRunning()) {
        stopHelpViewer();
        QString program = viewerProgram();
        if (program.isEmpty()) {
            report("SystemHelp", UIECouldNotLaunch);
            return 0;
        }
        g_viewer = new QProcess;
        g_viewer->setProcessChannelMode(QProcess::ForwardedErrorChannel);
        g_viewer->setStandardOutputFile(QProcess::nullDevice());
        g_viewer->start(program, {QStringLiteral("-collectionFile"), collection,
                                  QStringLiteral("-enableRemoteControl")});
        if (!g_viewer->waitForStarted(5000)) {
            stopHelpViewer();
            report("SystemHelp", UIECouldNotLaunch);
            return 0;
        }
        g_collection = collection;
    }
    QString keyword = cleanKeyword(additionalStringData);
    QString line;
    if (command == HELP_KEY) line = keyLookup(keyword);
    else if (command == HELP_PARTIALKEY)
        line = keyword.isEmpty() ? QStringLiteral("show index") : QStringLiteral("show index;activateKeyword ") + keyword;
    else line = QStringLiteral("show contents");
    g_viewer->write((line + QLatin1Char('\n')).toUtf8());
    g_viewer->waitForBytesWritten(1000);
    return 1;
}
