// Online help by context number. A dialog gives itself (or one of its
// controls) a help context; F1 pressed anywhere inside opens the topic of the
// nearest context, when the topic exists. Topics are files named after their
// number ("10100.html", "10100.md", "10100.txt") in the help folder.
#pragma once

#include <QObject>
#include <QString>
#include <functional>

class QWidget;

void SetHelpContext(QWidget* widget, int context);
// The context of widget or of its nearest ancestor that has one; 0 for none.
int HelpContext(const QWidget* widget);

// The help folder: $OSTRA_HELP_DIR, else "help" beside the program, else
// "docs/help" of the source tree the program was built from.
QString HelpDirectory();
// The topic file of a context, empty when there is none.
QString HelpTopicFile(int context);

// Opens a topic file. The default viewer shows it in the help window
// (ShowHelpWindow); tests install their own. Returns the viewer installed
// before.
using THelpViewer = std::function<void(const QString& topicFile)>;
THelpViewer SetHelpViewer(THelpViewer viewer);
// The Studio's small help window ("OstHelpWindow") showing a topic file:
// Markdown and HTML rendered, anything else as plain text. It belongs to the
// active modal dialog (or window), so it can be read and closed beside it.
// nullptr when the file cannot be read.
class QTextBrowser;
QTextBrowser* ShowHelpWindow(const QString& topicFile);
// Opens the topic of a context; false (and nothing happens) without a topic.
bool ShowHelpTopic(int context);

// Installed on the application by the host: F1 opens the help topic of the
// focused widget's context (or the active window's).
class THelpKeyFilter : public QObject {
    Q_OBJECT
public:
    using QObject::QObject;

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
};
