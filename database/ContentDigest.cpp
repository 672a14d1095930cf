#include "ContentDigest.h"

#include <QByteArray>
#include <QCryptographicHash>

std::string contentDigest(const std::string& bytes)
{
    QByteArrayView view(bytes.data(), static_cast<qsizetype>(bytes.size()));
    return QCryptographicHash::hash(view, QCryptographicHash::Sha1).toHex().toStdString();
}
