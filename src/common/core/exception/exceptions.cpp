#include "exceptions.h"

namespace Core::Exception {

BaseException::BaseException(const QString& message)
    : m_message(message)
    , m_utf8(message.toUtf8())
{
}

BaseException::~BaseException() = default;

const char* BaseException::what() const
{
    return m_utf8.constData();
}

QString BaseException::getMessage() const
{
    return m_message;
}

} // namespace Core::Exception
