// The splash screen shown while the Studio starts and loads its packages.
// Packages talk to it through SplashScreenServices: a status line, and an
// entry (bitmap and caption) per product, listed under the Studio's title.
#pragma once

#include "studio/designintf/designintf.h"

#include <QList>
#include <QPixmap>
#include <QSplashScreen>

class TStudioSplash : public QSplashScreen, public ISplashScreenServices {
    Q_OBJECT
public:
    struct TPluginEntry {
        QString Caption;
        QPixmap Bitmap;
        bool Unlicensed = false;
        QString Status;
        QString Edition;
    };

    TStudioSplash();
    ~TStudioSplash() override;

    void StatusMessage(const QString& message) override;
    void AddPluginBitmap(const QString& caption, const QPixmap& bitmap, bool unlicensed = false,
                         const QString& status = QString(), const QString& edition = QString()) override;

    const QList<TPluginEntry>& PluginEntries() const { return m_entries; }
    QString Status() const { return message(); }

protected:
    void drawContents(QPainter* painter) override;

private:
    QList<TPluginEntry> m_entries;
};

// Points SplashScreenServices at a splash (which may be null) for its lifetime.
class TSplashServicesScope {
public:
    explicit TSplashServicesScope(ISplashScreenServices* services) { SplashScreenServices = services; }
    ~TSplashServicesScope() { SplashScreenServices = nullptr; }
    TSplashServicesScope(const TSplashServicesScope&) = delete;
    TSplashServicesScope& operator=(const TSplashServicesScope&) = delete;
};
