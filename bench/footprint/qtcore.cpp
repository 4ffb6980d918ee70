// The types of Qt Core are known. The headers are those of what this
// library has too.
#include <QHash>
#include <QList>
#include <QMetaType>
#include <QObject>
#include <QString>
#include <QVariant>

bool isReady() { return QMetaType::fromName("QVariantList").isValid(); }
