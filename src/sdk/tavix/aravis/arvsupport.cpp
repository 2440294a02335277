#include <tavix/aravis/arvsupport.h>

namespace TavixAravis {
namespace {

const char* genicamErrorType(int code)
{
    switch (code) {
    case ARV_GC_ERROR_OUT_OF_RANGE:
        return "OutOfRangeException";
    case ARV_GC_ERROR_READ_ONLY:
        return "AccessException";
    case ARV_GC_ERROR_ENUM_ENTRY_NOT_FOUND:
    case ARV_GC_ERROR_INVALID_LENGTH:
    case ARV_GC_ERROR_SET_FROM_STRING_UNDEFINED:
    case ARV_GC_ERROR_NODE_NOT_FOUND:
        return "InvalidArgumentException";
    case ARV_GC_ERROR_INVALID_SYNTAX:
        return "FormatException";
    default:
        return "LogicalErrorException";
    }
}

const char* deviceErrorType(int code)
{
    switch (code) {
    case ARV_DEVICE_ERROR_TIMEOUT:
        return "TimeoutException";
    case ARV_DEVICE_ERROR_WRONG_FEATURE:
    case ARV_DEVICE_ERROR_FEATURE_NOT_FOUND:
    case ARV_DEVICE_ERROR_INVALID_PARAMETER:
    case ARV_DEVICE_ERROR_PROTOCOL_ERROR_INVALID_PARAMETER:
        return "InvalidArgumentException";
    case ARV_DEVICE_ERROR_NOT_CONTROLLER:
    case ARV_DEVICE_ERROR_PROTOCOL_ERROR_ACCESS_DENIED:
    case ARV_DEVICE_ERROR_PROTOCOL_ERROR_WRITE_PROTECT:
    case ARV_DEVICE_ERROR_PROTOCOL_ERROR_BUSY:
        return "AccessException";
    default:
        return "RuntimeException";
    }
}

const char* exceptionTypeOf(const GError* error)
{
    if (error->domain == ARV_GC_ERROR)
        return genicamErrorType(error->code);
    if (error->domain == ARV_DEVICE_ERROR)
        return deviceErrorType(error->code);
    return "RuntimeException";
}

} // namespace

CErrorTrap::~CErrorTrap()
{
    if (m_pError)
        g_error_free(m_pError);
}

std::string CErrorTrap::message() const
{
    return m_pError && m_pError->message ? m_pError->message : "";
}

bool CErrorTrap::failedForMissingProperty() const
{
    return m_pError && m_pError->domain == ARV_GC_ERROR
           && (m_pError->code == ARV_GC_ERROR_PROPERTY_NOT_DEFINED || m_pError->code == ARV_GC_ERROR_NODE_NOT_FOUND
               || m_pError->code == ARV_GC_ERROR_PVALUE_NOT_DEFINED);
}

void CErrorTrap::throwIfFailed(const std::string& context) const
{
    if (m_pError)
        throwError(m_pError, context);
}

void throwError(const GError* error, const std::string& context)
{
    const std::string text = context + ": " + (error->message ? error->message : "unknown Aravis error");
    GenICam::throwException(exceptionTypeOf(error), text, __FILE__, __LINE__);
}

void throwNotSupported(const char* operation)
{
    const std::string text = std::string(operation) + " is not supported by this transport layer.";
    throw GenICam::LogicalErrorException(text.c_str(), __FILE__, __LINE__);
}

} // namespace TavixAravis
