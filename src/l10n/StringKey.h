#pragma once

#include <QObject>
#include <QString>

// One interface text in both languages.
struct StringKey
{
    Q_GADGET
    Q_PROPERTY(QString en MEMBER en)
    Q_PROPERTY(QString ja MEMBER ja)

public:
    QString en;
    QString ja;

    friend bool operator==(const StringKey &, const StringKey &) = default;
};
