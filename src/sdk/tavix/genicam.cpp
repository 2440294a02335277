#include <tavix/genicam.h>

namespace GenICam {

GenericException::GenericException(const char* description, const char* sourceFileName,
                                   unsigned int sourceLine, const char* exceptionType)
    : m_description(description ? description : "")
    , m_sourceFileName(sourceFileName ? sourceFileName : "")
    , m_sourceLine(sourceLine)
    , m_exceptionType(exceptionType ? exceptionType : "GenericException")
{
    m_what = m_exceptionType + ": " + m_description + " : thrown in file '" + m_sourceFileName
             + "', line " + std::to_string(m_sourceLine);
}

GenericException::~GenericException() = default;

void throwException(const std::string& typeName, const std::string& description, const char* sourceFile,
                    unsigned int sourceLine)
{
    const char* text = description.c_str();
#define GENICAM_THROW_IF(Name)                                                                      \
    if (typeName == #Name)                                                                         \
        throw Name(text, sourceFile, sourceLine);
    GENICAM_THROW_IF(InvalidArgumentException)
    GENICAM_THROW_IF(OutOfRangeException)
    GENICAM_THROW_IF(AccessException)
    GENICAM_THROW_IF(TimeoutException)
    GENICAM_THROW_IF(LogicalErrorException)
    GENICAM_THROW_IF(BadAllocException)
    GENICAM_THROW_IF(RuntimeException)
    GENICAM_THROW_IF(FormatException)
    GENICAM_THROW_IF(FileIOException)
    GENICAM_THROW_IF(FileNotFoundException)
#undef GENICAM_THROW_IF
    throw GenericException(text, sourceFile, sourceLine, typeName.empty() ? "GenericException" : typeName.c_str());
}

} // namespace GenICam
