// ostra-studio [FILE] [--package PATH]... [--no-default-packages] [--no-splash] [--exit-after-start]
//              [--design DB TABLE]
#include "common/ostdialogservice.h"
#include "common/osthelp.h"
#include "studio/designintf/designintf.h"
#include "studio/designtable.h"
#include "studio/packageloader.h"
#include "studio/studiomainwindow.h"
#include "studio/studiosplash.h"
#include "studio/studioutils.h"
#include "engine/ostengine.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QElapsedTimer>
#include <QFile>
#include <QTimer>
#include <QWindow>
#include <cstdio>
#include <ctime>
#include <memory>
#include <unistd.h>

namespace {

// Milliseconds since the process started. The kernel's start time of the
// process (/proc/self/stat, field 22, in clock ticks since boot) counts the
// dynamic loading of Qt and the engine before main runs; without /proc, the
// timer started first thing in main stands in.
qint64 MillisecondsSinceStart(const QElapsedTimer& sinceMain) {
    QFile stat(QStringLiteral("/proc/self/stat"));
    if (stat.open(QIODevice::ReadOnly)) {
        const QByteArray line = stat.readAll();
        // The command name (field 2) is in parentheses and may hold spaces.
        const QList<QByteArray> fields = line.mid(line.lastIndexOf(')') + 2).split(' ');
        bool ok = false;
        const qint64 startTicks = fields.value(19).toLongLong(&ok); // field 22 is the 20th after the name
        const long ticksPerSecond = sysconf(_SC_CLK_TCK);
        timespec now{};
        if (ok && ticksPerSecond > 0 && clock_gettime(CLOCK_BOOTTIME, &now) == 0) {
            const qint64 nowMs = qint64(now.tv_sec) * 1000 + now.tv_nsec / 1000000;
            const qint64 ms = nowMs - startTicks * 1000 / ticksPerSecond;
            if (ms >= 0) return ms;
        }
    }
    return sinceMain.elapsed();
}

// For unattended runs (--exit-after-start): failures are printed, not shown
// in boxes nobody would answer, and every question is answered with its
// safest button.
class TConsoleDialogService : public IOstDialogService {
public:
    int MessageBox(QWidget*, const QString& caption, const QString& text, QMessageBox::Icon,
                   QMessageBox::StandardButtons buttons) override {
        std::fprintf(stderr, "%s: %s\n", qPrintable(caption), qPrintable(text));
        for (QMessageBox::StandardButton b : {QMessageBox::Cancel, QMessageBox::No, QMessageBox::Ok})
            if (buttons & b) return b;
        return QMessageBox::NoButton;
    }
    bool SelectDirectory(QWidget*, const QString&, QString&) override { return false; }
    bool OpenFileName(QWidget*, const QString&, const QString&, const QString&, QString&) override { return false; }
    bool SaveFileName(QWidget*, const QString&, const QString&, const QString&, const QString&, QString&) override {
        return false;
    }
    bool PromptText(QWidget*, const QString&, const QString&, QString&) override { return false; }
};

void LoadPackages(const QStringList& packages) {
    TPackageLoader::RegisterStandardComponents();
    for (const QString& package : packages) {
        try {
            TPackageLoader::Load(package);
        } catch (const Exception& e) {
            ShowStudioError(nullptr, e.Message());
        }
    }
}

// Prints "ready <ms>" and quits once the window is on screen and the event
// loop has nothing left to do.
void ExitWhenReady(QWidget* window, const QElapsedTimer& sinceMain) {
    auto* timer = new QTimer(window);
    timer->setInterval(0);
    QObject::connect(timer, &QTimer::timeout, window, [=, &sinceMain] {
        if (!window->isVisible() || !window->windowHandle() || !window->windowHandle()->isExposed()) return;
        timer->stop();
        std::printf("ready %lld\n", static_cast<long long>(MillisecondsSinceStart(sinceMain)));
        std::fflush(stdout);
        QCoreApplication::exit(0);
    });
    timer->start();
}

} // namespace

int main(int argc, char* argv[]) {
    QElapsedTimer sinceMain;
    sinceMain.start();
    QApplication app(argc, argv);
    QCoreApplication::setOrganizationName(QStringLiteral("Ostra"));
    QCoreApplication::setApplicationName(QStringLiteral("Ostra Studio"));
    QCoreApplication::setApplicationVersion(OstEngineVersion());

    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral("Ostra Studio: designs data modules of Ostra components."));
    parser.addHelpOption();
    parser.addVersionOption();
    parser.addPositionalArgument(QStringLiteral("file"), QStringLiteral("The data module to open."), QStringLiteral("[FILE]"));
    const QCommandLineOption packageOption(QStringLiteral("package"), QStringLiteral("Load the design-time package PATH (repeatable)."),
                                           QStringLiteral("PATH"));
    const QCommandLineOption noDefaultOption(QStringLiteral("no-default-packages"),
                                             QStringLiteral("Do not load dclostra.so from beside the program."));
    const QCommandLineOption noSplashOption(QStringLiteral("no-splash"), QStringLiteral("Start without the splash screen."));
    const QCommandLineOption exitOption(QStringLiteral("exit-after-start"),
                                        QStringLiteral("Print \"ready <ms since start>\" once the window is up, and exit."));
    const QCommandLineOption designOption(QStringLiteral("design"),
                                          QStringLiteral("Open the table designer on table TABLE of database DB (a directory "
                                                         "or an .ostd file), given as the next argument, and exit when it closes; "
                                                         "a table that does not exist is created."),
                                          QStringLiteral("DB"));
    parser.addOptions({packageOption, noDefaultOption, noSplashOption, exitOption, designOption});
    parser.process(app);
    const bool design = parser.isSet(designOption);
    if (design && parser.positionalArguments().size() != 1) {
        std::fprintf(stderr, "%s\n", qPrintable(QStringLiteral("--design DB needs the table name as well: --design DB TABLE")));
        parser.showHelp(1);
    }
    if (!design && parser.positionalArguments().size() > 1) {
        std::fprintf(stderr, "%s\n", qPrintable(QStringLiteral("Only one data module can be opened.")));
        parser.showHelp(1);
    }

    const bool unattended = parser.isSet(exitOption);
    TConsoleDialogService console;
    std::unique_ptr<TScopedDialogService> consoleScope;
    if (unattended) consoleScope = std::make_unique<TScopedDialogService>(&console);

    THelpKeyFilter helpKeys;
    app.installEventFilter(&helpKeys);

    QStringList packages;
    if (!parser.isSet(noDefaultOption)) packages.append(TPackageLoader::DefaultPackagePath());
    packages.append(parser.values(packageOption));

    std::unique_ptr<TStudioSplash> splash;
    if (!parser.isSet(noSplashOption)) {
        splash = std::make_unique<TStudioSplash>();
        splash->show();
        splash->StatusMessage(QStringLiteral("Loading packages..."));
    }
    {
        const TSplashServicesScope scope(splash.get());
        LoadPackages(packages);
    }

    if (design) {
        if (splash) splash->close();
        return DesignTable(parser.value(designOption), parser.positionalArguments().at(0)) ? 0 : 1;
    }

    TStudioMainWindow window;
    const QString file = parser.positionalArguments().value(0);
    if (!file.isEmpty()) window.OpenModule(file); // on failure the new module stays
    // The session ends with the main window, whatever other windows are open.
    QObject::connect(&window, &TStudioMainWindow::closed, &app, &QCoreApplication::quit, Qt::QueuedConnection);
    window.show();
    if (splash) splash->finish(&window);
    if (unattended) ExitWhenReady(&window, sinceMain);
    return app.exec();
}
