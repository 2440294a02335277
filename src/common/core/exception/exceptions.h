#pragma once

#include <QByteArray>
#include <QString>

namespace Core::Exception {

/// The only exception family that may cross a service interface. It is deliberately not a
/// std::exception, so that a catch of std::exception lets it pass.
class BaseException
{
public:
    /// An exception with the text that tells what failed.
    explicit BaseException(const QString& message);
    virtual ~BaseException();

    /// The text, UTF-8 encoded.
    const char* what() const;
    /// The text.
    QString getMessage() const;

private:
    QString m_message;
    QByteArray m_utf8;
};

#define TAVIX_CORE_EXCEPTION(Name)                                                                  \
    class Name : public BaseException                                                              \
    {                                                                                              \
    public:                                                                                        \
        using BaseException::BaseException;                                                        \
    };

TAVIX_CORE_EXCEPTION(ArgumentException)
TAVIX_CORE_EXCEPTION(ArgumentOutOfRangeException)
TAVIX_CORE_EXCEPTION(InvalidArgumentException)
TAVIX_CORE_EXCEPTION(InvalidOperationException)
TAVIX_CORE_EXCEPTION(AccessException)
TAVIX_CORE_EXCEPTION(ObjectDisposedException)
TAVIX_CORE_EXCEPTION(TimeoutException)
TAVIX_CORE_EXCEPTION(BadAllocException)
TAVIX_CORE_EXCEPTION(RuntimeException)
TAVIX_CORE_EXCEPTION(FormatException)
TAVIX_CORE_EXCEPTION(FileIOException)
TAVIX_CORE_EXCEPTION(FileNotFoundException)

#undef TAVIX_CORE_EXCEPTION

} // namespace Core::Exception
