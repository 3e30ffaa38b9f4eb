#include "common/osthelp.h"

#include <QApplication>
#include <QDesktopServices>
#include <QDir>
#include <QFileInfo>
#include <QKeyEvent>
#include <QUrl>
#include <QWidget>

namespace {

const char kContextProperty[] = "ostHelpContext";

THelpViewer& Viewer() {
    static THelpViewer viewer = [](const QString& file) { QDesktopServices::openUrl(QUrl::fromLocalFile(file)); };
    return viewer;
}

} // namespace

void SetHelpContext(QWidget* widget, int context) {
    if (widget) widget->setProperty(kContextProperty, context);
}

int HelpContext(const QWidget* widget) {
    for (const QWidget* w = widget; w; w = w->parentWidget()) {
        const int context = w->property(kContextProperty).toInt();
        if (context != 0) return context;
    }
    return 0;
}

QString HelpDirectory() {
    const QString env = qEnvironmentVariable("OSTRA_HELP_DIR");
    if (!env.isEmpty()) return env;
    if (QCoreApplication::instance()) {
        const QString beside = QDir(QCoreApplication::applicationDirPath()).filePath(QStringLiteral("help"));
        if (QFileInfo(beside).isDir()) return beside;
    }
#ifdef OSTRA_SOURCE_HELP_DIR
    return QStringLiteral(OSTRA_SOURCE_HELP_DIR);
#else
    return QString();
#endif
}

QString HelpTopicFile(int context) {
    const QString dir = HelpDirectory();
    if (context <= 0 || dir.isEmpty()) return QString();
    for (const char* ext : {".html", ".md", ".txt"}) {
        const QString file = QDir(dir).filePath(QString::number(context) + QLatin1String(ext));
        if (QFileInfo(file).isFile()) return file;
    }
    return QString();
}

THelpViewer SetHelpViewer(THelpViewer viewer) {
    THelpViewer before = std::move(Viewer());
    Viewer() = std::move(viewer);
    return before;
}

bool ShowHelpTopic(int context) {
    const QString file = HelpTopicFile(context);
    if (file.isEmpty() || !Viewer()) return false;
    Viewer()(file);
    return true;
}

bool THelpKeyFilter::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() == QEvent::KeyPress && static_cast<QKeyEvent*>(event)->key() == Qt::Key_F1 &&
        static_cast<QKeyEvent*>(event)->modifiers() == Qt::NoModifier) {
        QWidget* from = QApplication::focusWidget();
        if (!from) from = QApplication::activeModalWidget();
        if (!from) from = QApplication::activeWindow();
        if (!from) from = qobject_cast<QWidget*>(watched);
        const int context = HelpContext(from);
        if (context != 0) {
            ShowHelpTopic(context);
            return true;
        }
    }
    return QObject::eventFilter(watched, event);
}
