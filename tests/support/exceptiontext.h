#pragma once

#include <QString>

#include <functional>

// The message of the exception of the given type that fn throws, or "nothing thrown".
template <typename Exception>
QString messageOf(const std::function<void()>& fn)
{
    try {
        fn();
    } catch (const Exception& e) {
        return e.getMessage();
    }
    return QStringLiteral("nothing thrown");
}
