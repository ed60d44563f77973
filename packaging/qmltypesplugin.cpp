// The scene's module as a plugin, from which the toolkit describes it for editors. Nothing of
// it is installed: in the device the client registers the types itself.

#include "qmltypes.h"

#include <QQmlExtensionPlugin>

class QmlTypesPlugin : public QQmlExtensionPlugin
{
    Q_OBJECT
    Q_PLUGIN_METADATA(IID QQmlExtensionInterface_iid)

public:
    void registerTypes(const char *uri) override { registerQmlTypes(uri); }
};

#include "qmltypesplugin.moc"
