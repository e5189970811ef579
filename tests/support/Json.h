#pragma once

#include <QByteArray>

// JSON fixtures written with single quotes, so they read cleanly inside C++
// strings: json("{'a':1}") is {"a":1}.
inline QByteArray json(const char *singleQuoted)
{
    return QByteArray(singleQuoted).replace('\'', '"');
}
