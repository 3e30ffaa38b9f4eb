// The QOSTRA plugin: Qt SQL loads it from its sqldrivers plugin folder.
#include "sqldriver/ostsqldriver.h"

#include <QSqlDriverPlugin>

class TOstSqlDriverPlugin : public QSqlDriverPlugin {
    Q_OBJECT
    Q_PLUGIN_METADATA(IID QSqlDriverFactoryInterface_iid FILE "qostra.json")

public:
    QSqlDriver* create(const QString& name) override {
        return name == QLatin1String("QOSTRA") ? new TOstSqlDriver : nullptr;
    }
};

#include "ostsqldriverplugin.moc"
