#include "studio/studiosplash.h"

#include <QLinearGradient>
#include <QPainter>

namespace {

constexpr int kWidth = 460;
constexpr int kHeight = 280;
constexpr int kEntryTop = 96;
constexpr int kEntryHeight = 30;
constexpr int kBitmapSize = 24;

QPixmap Background() {
    QPixmap pm(kWidth, kHeight);
    QPainter p(&pm);
    QLinearGradient g(0, 0, 0, kHeight);
    g.setColorAt(0, QColor(0x1f, 0x3a, 0x5f));
    g.setColorAt(1, QColor(0x0e, 0x1c, 0x2e));
    p.fillRect(pm.rect(), g);
    p.setPen(QColor(0xff, 0xff, 0xff));
    QFont title = p.font();
    title.setPixelSize(30);
    title.setBold(true);
    p.setFont(title);
    p.drawText(QRect(24, 20, kWidth - 48, 40), Qt::AlignLeft | Qt::AlignVCenter, QStringLiteral("Ostra Studio"));
    QFont sub = p.font();
    sub.setPixelSize(13);
    sub.setBold(false);
    p.setFont(sub);
    p.setPen(QColor(0xb8, 0xc7, 0xd9));
    p.drawText(QRect(24, 58, kWidth - 48, 20), Qt::AlignLeft | Qt::AlignVCenter,
               QStringLiteral("Data module designer"));
    return pm;
}

} // namespace

TStudioSplash::TStudioSplash() : QSplashScreen(Background()) {}

TStudioSplash::~TStudioSplash() {
    if (SplashScreenServices == this) SplashScreenServices = nullptr;
}

void TStudioSplash::StatusMessage(const QString& message) {
    showMessage(message, Qt::AlignLeft | Qt::AlignBottom, QColor(0xdd, 0xe6, 0xf0));
}

void TStudioSplash::AddPluginBitmap(const QString& caption, const QPixmap& bitmap, bool unlicensed, const QString& status,
                                    const QString& edition) {
    m_entries.append({caption, bitmap, unlicensed, status, edition});
    repaint();
}

void TStudioSplash::drawContents(QPainter* painter) {
    QFont f = painter->font();
    f.setPixelSize(13);
    painter->setFont(f);
    int y = kEntryTop;
    for (const TPluginEntry& e : m_entries) {
        if (y + kEntryHeight > kHeight - 28) break; // the status line keeps the bottom
        if (!e.Bitmap.isNull())
            painter->drawPixmap(QRect(24, y + (kEntryHeight - kBitmapSize) / 2, kBitmapSize, kBitmapSize), e.Bitmap);
        QString text = e.Caption;
        if (!e.Edition.isEmpty()) text += QStringLiteral(" ") + e.Edition;
        if (e.Unlicensed) text += QStringLiteral(" (unlicensed)");
        if (!e.Status.isEmpty()) text += QStringLiteral(" - ") + e.Status;
        painter->setPen(e.Unlicensed ? QColor(0xf0, 0xb0, 0x60) : QColor(0xff, 0xff, 0xff));
        painter->drawText(QRect(24 + kBitmapSize + 10, y, kWidth - 72 - kBitmapSize, kEntryHeight),
                          Qt::AlignLeft | Qt::AlignVCenter, text);
        y += kEntryHeight;
    }
    QSplashScreen::drawContents(painter); // the status line
}
