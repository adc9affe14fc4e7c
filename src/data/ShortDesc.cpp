#include "ShortDesc.h"

QString ShortDesc(const QString &desc)
{
    if (desc.size() < 51)
        return desc;
    return desc.left(47) + QStringLiteral("...");
}
