// F1 help: the nearest help context of the focused widget opens its topic
// file from the help folder, and nothing happens without a topic.
#include "common/osthelp.h"

#include <QDialog>
#include <QFile>
#include <QLineEdit>
#include <QTextBrowser>
#include <QTemporaryDir>
#include <QVBoxLayout>
#include <QtTest>

class TstHelp : public QObject {
    Q_OBJECT
private slots:
    void f1OpensTheNearestTopic();
    void helpWindowShowsTheTopic();
};

void TstHelp::f1OpensTheNearestTopic() {
    QTemporaryDir dir;
    qputenv("OSTRA_HELP_DIR", dir.path().toUtf8());
    QFile topic(dir.filePath("10100.md"));
    QVERIFY(topic.open(QIODevice::WriteOnly));
    topic.write("# Column properties\n");
    topic.close();
    QCOMPARE(HelpTopicFile(10100), dir.filePath("10100.md"));
    QCOMPARE(HelpTopicFile(27271), QString());

    QStringList opened;
    const THelpViewer before = SetHelpViewer([&](const QString& file) { opened.append(file); });
    THelpKeyFilter filter;
    qApp->installEventFilter(&filter);

    QDialog dialog;
    auto* layout = new QVBoxLayout(&dialog);
    auto* inner = new QWidget(&dialog);
    auto* edit = new QLineEdit(inner);
    auto* other = new QLineEdit(&dialog);
    layout->addWidget(inner);
    layout->addWidget(other);
    SetHelpContext(&dialog, 27271);
    SetHelpContext(inner, 10100);
    QCOMPARE(HelpContext(edit), 10100);
    QCOMPARE(HelpContext(other), 27271);
    dialog.show();
    QVERIFY(QTest::qWaitForWindowActive(&dialog));

    edit->setFocus();
    QTRY_VERIFY(edit->hasFocus());
    QTest::keyClick(edit, Qt::Key_F1);
    QCOMPARE(opened, QStringList({dir.filePath("10100.md")}));
    // The dialog's own context has no topic: nothing opens.
    other->setFocus();
    QTRY_VERIFY(other->hasFocus());
    QTest::keyClick(other, Qt::Key_F1);
    QCOMPARE(opened.size(), 1);
    // Other keys go on to the widget.
    QTest::keyClicks(other, "ab");
    QCOMPARE(other->text(), QStringLiteral("ab"));

    qApp->removeEventFilter(&filter);
    SetHelpViewer(before);
}

// The default viewer: the Studio's own window, rendering Markdown, usable
// beside the modal dialog it was asked from.
void TstHelp::helpWindowShowsTheTopic() {
    QTemporaryDir dir;
    QFile topic(dir.filePath("20000.md"));
    QVERIFY(topic.open(QIODevice::WriteOnly));
    topic.write("# Create a database\n\nChoose **Catalog** to keep a catalog.\n");
    topic.close();
    QDialog modal;
    modal.setWindowModality(Qt::ApplicationModal);
    modal.show();
    QVERIFY(QTest::qWaitForWindowActive(&modal));
    QTextBrowser* browser = ShowHelpWindow(topic.fileName());
    QVERIFY(browser);
    QWidget* window = browser->window();
    QCOMPARE(window->objectName(), QStringLiteral("OstHelpWindow"));
    QCOMPARE(window->windowTitle(), QStringLiteral("Ostra Help - Create a database"));
    QCOMPARE(window->parentWidget(), &modal); // not blocked by the modal dialog
    const QString text = browser->toPlainText();
    QVERIFY2(text.contains("Choose Catalog to keep a catalog."), qPrintable(text)); // rendered, not raw
    QVERIFY(!text.contains("**"));
    QVERIFY(window->isVisible());
    QVERIFY(!ShowHelpWindow(dir.filePath("missing.md")));
    window->close();
}

QTEST_MAIN(TstHelp)
#include "tst_help.moc"
