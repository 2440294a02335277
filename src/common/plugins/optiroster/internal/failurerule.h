#pragma once

#include <core/exception/exceptions.h>
#include <plugins/optiroster/internal/logcategories.h>

#include <tavix/genicam.h>

#include <QSharedPointer>
#include <QString>

#include <exception>
#include <new>
#include <functional>
#include <utility>

namespace Plugin::OptiRoster::Internal {

// Runs fn and passes a failure of the SDK on as the host's exception of the matching kind, with
// the SDK's short description as its message. Nothing is logged or stored. A standard exception
// from below the SDK becomes one of the host's too: only those may reach a client.
template <typename Fn>
auto translateFailures(Fn&& fn) -> decltype(fn())
{
    namespace E = Core::Exception;
    const auto reason = [](const GenICam::GenericException& e) { return QString(e.GetDescription()); };
    try {
        return std::forward<Fn>(fn)();
    } catch (const std::bad_alloc& e) {
        throw E::BadAllocException(QString::fromUtf8(e.what()));
    } catch (const std::exception& e) {
        throw E::RuntimeException(QString::fromUtf8(e.what()));
    } catch (const GenICam::InvalidArgumentException& e) {
        throw E::ArgumentException(reason(e));
    } catch (const GenICam::OutOfRangeException& e) {
        throw E::ArgumentOutOfRangeException(reason(e));
    } catch (const GenICam::AccessException& e) {
        // Not AccessException: that one is the pool's own refusal of an exclusive device.
        throw E::InvalidOperationException(reason(e));
    } catch (const GenICam::TimeoutException& e) {
        throw E::TimeoutException(reason(e));
    } catch (const GenICam::LogicalErrorException& e) {
        throw E::InvalidOperationException(reason(e));
    } catch (const GenICam::BadAllocException& e) {
        throw E::BadAllocException(reason(e));
    } catch (const GenICam::RuntimeException& e) {
        throw E::RuntimeException(reason(e));
    } catch (const GenICam::GenericException& e) {
        throw E::BaseException(reason(e));
    }
}

// The same for the reading of update files: the three file failures first, then the others.
template <typename Fn>
auto translateFileFailures(Fn&& fn) -> decltype(fn())
{
    namespace E = Core::Exception;
    return translateFailures([&]() -> decltype(fn()) {
        try {
            return std::forward<Fn>(fn)();
        } catch (const GenICam::FormatException& e) {
            throw E::FormatException(QString(e.GetDescription()));
        } catch (const GenICam::FileIOException& e) {
            throw E::FileIOException(QString(e.GetDescription()));
        } catch (const GenICam::FileNotFoundException& e) {
            throw E::FileNotFoundException(QString(e.GetDescription()));
        }
    });
}

// How a failure is reported: the short reason goes to the device's last-error text, the fixed
// prefix and the long reason to the log.
class CFailureReport
{
public:
    enum ETextForm {
        PrefixAndReason,         // "%1 %2": the prefix ends in "Reason: "
        SentenceAndReason,       // "%1 Reason: %2": the prefix is a sentence
    };
    using LastErrorSink = std::function<void(const QString& reason)>;

    CFailureReport(quint64 categoryId, QString prefix, ETextForm form, LastErrorSink lastError = {});

    // A sink that stores the reason on the description if it is of the concrete class.
    template <typename ConcreteInfo, typename Info>
    static LastErrorSink lastErrorOf(const QSharedPointer<Info>& info)
    {
        return [info](const QString& reason) {
            if (auto concrete = info.template objectCast<ConcreteInfo>())
                concrete->setLastError(reason);
        };
    }

    QString text(const QString& longReason) const;
    void report(const char* shortReason, const char* longReason) const;

private:
    quint64 m_categoryId;
    QString m_prefix;
    ETextForm m_form;
    LastErrorSink m_lastError;
};

// Runs fn; a failure of the SDK or of the standard library is reported and answers false.
// The host's own exceptions pass through untouched.
template <typename Fn>
bool reportFailures(const CFailureReport& report, Fn&& fn)
{
    try {
        std::forward<Fn>(fn)();
        return true;
    } catch (const GenICam::GenericException& e) {
        report.report(e.GetDescription(), e.what());
    } catch (const std::exception& e) {
        report.report(e.what(), e.what());
    }
    return false;
}

} // namespace Plugin::OptiRoster::Internal
