#pragma once

#include <QObject>

#include <memory>

// Owns a QObject that a coroutine awaits. The coroutine usually resumes
// from inside one of the object's own signals, so it must not be deleted
// on the spot: deletion waits for the event loop.
struct DeleteLater
{
    void operator()(QObject *object) const
    {
        if (object)
            object->deleteLater();
    }
};

template <typename T>
using LaterPtr = std::unique_ptr<T, DeleteLater>;
