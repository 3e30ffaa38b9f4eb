#include "common/osthelp.h"

#include <QApplication>
#include <QDialog>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QPushButton>
#include <QTextBrowser>
#include <QVBoxLayout>
#include <QWidget>

namespace {

const char kContextProperty[] = "ostHelpContext";

THelpViewer& Viewer() {
    static THelpViewer viewer = [](const QString& file) { ShowHelpWindow(file); };
    return viewer;
}

// The first heading of a topic, for the window's title.
QString TopicTitle(const QTextBrowser& browser) {
    const QString text = browser.document()->toPlainText().trimmed();
    return text.section(u'\n', 0, 0).trimmed();
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
        // Installed: <prefix>/share/ostra/help beside <prefix>/bin.
        const QString installed =
            QDir(QCoreApplication::applicationDirPath()).filePath(QStringLiteral("../share/ostra/help"));
        if (QFileInfo(installed).isDir()) return QDir::cleanPath(installed);
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

QTextBrowser* ShowHelpWindow(const QString& topicFile) {
    QFile file(topicFile);
    if (!file.open(QIODevice::ReadOnly)) return nullptr;
    const QString text = QString::fromUtf8(file.readAll());
    // Usable beside a modal dialog: the window belongs to it and closes with it.
    QWidget* owner = QApplication::activeModalWidget();
    if (!owner) owner = QApplication::activeWindow();
    auto* window = new QDialog(owner, Qt::Window);
    window->setObjectName(QStringLiteral("OstHelpWindow"));
    window->setAttribute(Qt::WA_DeleteOnClose);
    auto* browser = new QTextBrowser(window);
    browser->setObjectName(QStringLiteral("HelpBrowser"));
    browser->setOpenExternalLinks(true);
    browser->setSearchPaths({QFileInfo(topicFile).absolutePath()});
    const QString suffix = QFileInfo(topicFile).suffix().toLower();
    if (suffix == QLatin1String("md")) browser->setMarkdown(text);
    else if (suffix == QLatin1String("html") || suffix == QLatin1String("htm")) browser->setHtml(text);
    else browser->setPlainText(text);
    auto* close = new QPushButton(QStringLiteral("&Close"), window);
    QObject::connect(close, &QPushButton::clicked, window, &QDialog::close);
    auto* layout = new QVBoxLayout(window);
    layout->addWidget(browser, 1);
    auto* buttons = new QHBoxLayout;
    buttons->addStretch();
    buttons->addWidget(close);
    layout->addLayout(buttons);
    const QString title = TopicTitle(*browser);
    window->setWindowTitle(title.isEmpty() ? QStringLiteral("Ostra Help") : QStringLiteral("Ostra Help - %1").arg(title));
    window->resize(560, 480);
    window->show();
    window->raise();
    window->activateWindow();
    return browser;
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
