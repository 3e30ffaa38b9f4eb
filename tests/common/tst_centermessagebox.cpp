// Centring of message boxes over their owner: the arithmetic, CenterWindow on
// real windows, and the posted-event mechanism inside a running modal box.
#include "common/ostcentermessagebox.h"
#include "modal_helper.h"

#include <QDialog>
#include <QPushButton>
#include <QScreen>
#include <memory>

Q_DECLARE_METATYPE(TRect)

namespace {

QSize ScreenSizeOf(QWidget* w) { return w->screen()->geometry().size(); }

QPoint Expected(QWidget* owner, QWidget* box) {
    return CenteredPosition(TRect::FromQRect(owner->frameGeometry()), box->frameGeometry().size(), ScreenSizeOf(box));
}

std::unique_ptr<QMessageBox> ShownBox(const QString& caption, QPoint at) {
    auto box = std::make_unique<QMessageBox>(QMessageBox::Information, caption, QStringLiteral("Some text"),
                                             QMessageBox::Ok);
    box->show();
    box->move(at);
    return box;
}

} // namespace

class TstCenterMessageBox : public QObject {
    Q_OBJECT
private slots:
    void centeredPosition_data();
    void centeredPosition();
    void centerWindowMovesTheExactCaptionOnly();
    void centerWindowIgnoresOtherCaptions_data();
    void centerWindowIgnoresOtherCaptions();
    void centeredMessageIsPlacedWhileTheBoxRuns_data();
    void centeredMessageIsPlacedWhileTheBoxRuns();
    void ownerDestroyedWhileTheBoxRuns();

private:
    std::unique_ptr<QWidget> m_owner;
};

void TstCenterMessageBox::centeredPosition_data() {
    QTest::addColumn<TRect>("owner");
    QTest::addColumn<QSize>("box");
    QTest::addColumn<QSize>("screen");
    QTest::addColumn<QPoint>("expected");
    const QSize screen(800, 600);
    QTest::newRow("plain centring") << TRect{100, 100, 500, 400} << QSize(200, 100) << screen << QPoint(200, 200);
    QTest::newRow("odd differences truncate")
        << TRect{100, 100, 501, 400} << QSize(200, 101) << screen << QPoint(200, 199);
    // -101 / 2 is -50, not -51: the offset is truncated toward zero.
    QTest::newRow("negative offset truncates toward zero")
        << TRect{300, 300, 500, 400} << QSize(301, 103) << screen << QPoint(250, 299);
    QTest::newRow("left edge, box wider than owner")
        << TRect{10, 50, 110, 250} << QSize(300, 100) << screen << QPoint(0, 100);
    QTest::newRow("top edge") << TRect{50, 0, 450, 40} << QSize(200, 100) << screen << QPoint(150, 0);
    QTest::newRow("right edge flush") << TRect{600, 100, 800, 300} << QSize(300, 100) << screen << QPoint(500, 150);
    QTest::newRow("bottom edge flush") << TRect{100, 500, 500, 600} << QSize(200, 200) << screen << QPoint(200, 400);
    QTest::newRow("touching the far edge stays")
        << TRect{600, 500, 800, 600} << QSize(200, 100) << screen << QPoint(600, 500);
    // The far-edge rule makes a box larger than the screen start before 0.
    QTest::newRow("larger than the screen, far-edge rule")
        << TRect{400, 300, 800, 600} << QSize(1000, 700) << screen << QPoint(-200, -100);
    // The near-edge rule fired, so the far-edge rule is not applied.
    QTest::newRow("larger than the screen, near-edge rule")
        << TRect{0, 0, 200, 200} << QSize(1000, 700) << screen << QPoint(0, 0);
    QTest::newRow("other screen size") << TRect{1500, 900, 1900, 1100} << QSize(300, 300)
                                       << QSize(1920, 1080) << QPoint(1550, 780);
}

void TstCenterMessageBox::centeredPosition() {
    QFETCH(TRect, owner);
    QFETCH(QSize, box);
    QFETCH(QSize, screen);
    QFETCH(QPoint, expected);
    QCOMPARE(CenteredPosition(owner, box, screen), expected);
}

void TstCenterMessageBox::centerWindowMovesTheExactCaptionOnly() {
    QWidget owner;
    owner.setGeometry(120, 90, 420, 310);
    owner.show();
    const QPoint away(7, 9);
    auto question = ShownBox(QStringLiteral("Question"), away);
    auto decoy = ShownBox(QStringLiteral("Question "), away);
    QTRY_COMPARE(question->pos(), away);
    QTRY_COMPARE(decoy->pos(), away);
    const QSize size = question->frameGeometry().size();

    CenterWindow(TRect::FromQRect(owner.frameGeometry()), QStringLiteral("Question"));

    const QPoint expected = Expected(&owner, question.get());
    QVERIFY(expected != away);
    QTRY_COMPARE(question->pos(), expected);
    QCOMPARE(question->frameGeometry().size(), size);
    QCOMPARE(decoy->pos(), away);

    // A closed dialog that is not yet destroyed keeps its caption; it is
    // never the one to move.
    QDialog closed;
    closed.setWindowTitle(QStringLiteral("Error"));
    closed.move(away);
    CenterWindow(TRect::FromQRect(owner.frameGeometry()), QStringLiteral("Error"));
    QCoreApplication::processEvents();
    QCOMPARE(closed.pos(), away);
}

void TstCenterMessageBox::centerWindowIgnoresOtherCaptions_data() {
    QTest::addColumn<QString>("caption");
    QTest::newRow("other case") << QStringLiteral("error");
    QTest::newRow("prefix") << QStringLiteral("Err");
    QTest::newRow("longer") << QStringLiteral("Errors");
    QTest::newRow("empty") << QString();
}

void TstCenterMessageBox::centerWindowIgnoresOtherCaptions() {
    QFETCH(QString, caption);
    const QPoint away(11, 13);
    auto box = ShownBox(QStringLiteral("Error"), away);
    QTRY_COMPARE(box->pos(), away);
    CenterWindow(TRect{200, 200, 600, 500}, caption);
    QCoreApplication::processEvents();
    QCOMPARE(box->pos(), away);
}

void TstCenterMessageBox::centeredMessageIsPlacedWhileTheBoxRuns_data() {
    QTest::addColumn<QRect>("ownerGeometry");
    QTest::addColumn<int>("lines");
    QTest::newRow("box inside its owner") << QRect(150, 120, 501, 351) << 1;
    // Taller than the screen: the box keeps the negative top the far-edge rule
    // gives it, where Qt itself would have put it at 0.
    QTest::newRow("box taller than the screen") << QRect(100, 2000, 400, 100) << 80;
}

void TstCenterMessageBox::centeredMessageIsPlacedWhileTheBoxRuns() {
    QFETCH(QRect, ownerGeometry);
    QFETCH(int, lines);
    QWidget owner;
    owner.setGeometry(ownerGeometry);
    owner.show();
    QStringList text;
    for (int i = 0; i < lines; ++i)
        text << QStringLiteral("Do you want to cancel all changes and close the table designer?");

    bool checked = false;
    WhenShown<QMessageBox>(
        [&](QMessageBox* box) {
            QCOMPARE(box->parentWidget(), &owner);
            QVERIFY(box->windowFlags().testFlag(Qt::WindowStaysOnTopHint));
            const QPoint expected = Expected(&owner, box);
            if (lines > 1)
                QVERIFY(expected.y() < 0);
            QTRY_COMPARE_WITH_TIMEOUT(box->pos(), expected, 1000);
            checked = true;
            box->button(QMessageBox::No)->click();
        },
        QStringLiteral("Question"));
    const int pressed = ShowCenteredMessage(&owner, QStringLiteral("Question"), text.join(QLatin1Char('\n')),
                                            QMessageBox::Question, QMessageBox::Yes | QMessageBox::No);
    QVERIFY(checked);
    QCOMPARE(pressed, int(QMessageBox::No));
    QVERIFY(VisibleTopLevel<QMessageBox>() == nullptr);
}

void TstCenterMessageBox::ownerDestroyedWhileTheBoxRuns() {
    auto* owner = new QWidget;
    owner->setGeometry(100, 100, 300, 200);
    owner->show();
    WhenShown<QMessageBox>([&](QMessageBox*) { delete owner; }, QStringLiteral("Error"));
    const int pressed = ShowCenteredMessage(owner, QStringLiteral("Error"), QStringLiteral("Gone"),
                                            QMessageBox::Critical, QMessageBox::Ok);
    QCOMPARE(pressed, int(QMessageBox::NoButton));
}

QTEST_MAIN(TstCenterMessageBox)
#include "tst_centermessagebox.moc"
