#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace GenICam {

/// The runtime's string type: a byte string, UTF-8 by convention.
class gcstring
{
public:
    /// The position that find() gives when it finds nothing.
    static constexpr std::size_t npos = std::string::npos;

    ///@{
    /// An empty string, or a copy of the text (a null pointer gives an empty string).
    gcstring() = default;
    gcstring(const char* text) : m_text(text ? text : "") {}
    gcstring(const std::string& text) : m_text(text) {}
    gcstring(const char* text, std::size_t length) : m_text(text, length) {}
    ///@}

    ///@{
    /// The text, zero-terminated.
    const char* c_str() const { return m_text.c_str(); }
    operator const char*() const { return m_text.c_str(); }
    ///@}
    ///@{
    /// The number of bytes.
    std::size_t size() const { return m_text.size(); }
    std::size_t length() const { return m_text.size(); }
    ///@}
    /// Whether the string is empty.
    bool empty() const { return m_text.empty(); }
    /// The position of what from from on, or npos.
    std::size_t find(const gcstring& what, std::size_t from = 0) const { return m_text.find(what.m_text, from); }
    /// The text as a standard string.
    const std::string& toStdString() const { return m_text; }
    /// Three-way comparison: less than, equal to or greater than zero.
    int compare(const gcstring& other) const { return m_text.compare(other.m_text); }
    ///@{
    /// Comparison of the bytes.
    bool operator==(const char* other) const { return m_text == (other ? other : ""); }
    bool operator==(const gcstring& other) const { return m_text == other.m_text; }
    bool operator!=(const char* other) const { return !(*this == other); }
    bool operator!=(const gcstring& other) const { return !(*this == other); }
    bool operator<(const gcstring& other) const { return m_text < other.m_text; }
    ///@}
    /// Appends other.
    gcstring& operator+=(const gcstring& other) { m_text += other.m_text; return *this; }

private:
    std::string m_text;
};

/// The concatenation of both.
inline gcstring operator+(gcstring left, const gcstring& right) { return left += right; }

/// A list of strings.
using gcstring_vector = std::vector<gcstring>;

/// The runtime's exception family. It is not a std::exception: GetDescription() gives the
/// short description, what() the full text with the type and the place it was thrown.
class GenericException
{
public:
    /// An exception with its description, the place it was thrown and its type's name.
    GenericException(const char* description, const char* sourceFileName, unsigned int sourceLine,
                     const char* exceptionType = "GenericException");
    virtual ~GenericException();

    /// The short description.
    const char* GetDescription() const { return m_description.c_str(); }
    /// The source file that threw it.
    const char* GetSourceFileName() const { return m_sourceFileName.c_str(); }
    /// The line that threw it.
    unsigned int GetSourceLine() const { return m_sourceLine; }
    /// The type's name, such as "AccessException".
    const char* GetExceptionType() const { return m_exceptionType.c_str(); }
    /// The full text: type, description and place.
    const char* what() const { return m_what.c_str(); }

private:
    std::string m_description;
    std::string m_sourceFileName;
    unsigned int m_sourceLine;
    std::string m_exceptionType;
    std::string m_what;
};

#define GENICAM_DECLARE_EXCEPTION(Name)                                                             \
    class Name : public GenericException                                                           \
    {                                                                                              \
    public:                                                                                        \
        Name(const char* description, const char* sourceFileName, unsigned int sourceLine,         \
             const char* exceptionType = #Name)                                                    \
            : GenericException(description, sourceFileName, sourceLine, exceptionType)            \
        {                                                                                          \
        }                                                                                          \
    };

GENICAM_DECLARE_EXCEPTION(InvalidArgumentException)
GENICAM_DECLARE_EXCEPTION(OutOfRangeException)
GENICAM_DECLARE_EXCEPTION(AccessException)
GENICAM_DECLARE_EXCEPTION(TimeoutException)
GENICAM_DECLARE_EXCEPTION(LogicalErrorException)
GENICAM_DECLARE_EXCEPTION(BadAllocException)
GENICAM_DECLARE_EXCEPTION(RuntimeException)
GENICAM_DECLARE_EXCEPTION(FormatException)
GENICAM_DECLARE_EXCEPTION(FileIOException)
GENICAM_DECLARE_EXCEPTION(FileNotFoundException)

#undef GENICAM_DECLARE_EXCEPTION

/// Throws the exception type with the given name ("AccessException", ...), or GenericException
/// for an unknown name.
[[noreturn]] void throwException(const std::string& typeName, const std::string& description,
                                 const char* sourceFile, unsigned int sourceLine);

} // namespace GenICam

#define GENICAM_THROW(Type, description) throw GenICam::Type((description), __FILE__, __LINE__)
