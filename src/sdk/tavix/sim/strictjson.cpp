#include <tavix/sim/strictjson.h>

#include <QJsonParseError>
#include <QSet>

#include <vector>

namespace TavixSim {

namespace {

// Walks the text's structure just far enough to see the keys of each object. Where the text stops
// being JSON it gives up and leaves the telling to Qt's parser.
class CRepeatedKeyFinder
{
public:
    explicit CRepeatedKeyFinder(const QByteArray& bytes)
        : m_bytes(bytes)
    {
    }

    // True with the key and its offset when an object names a key twice.
    bool find(QString& key, int& offset)
    {
        while (m_position < m_bytes.size()) {
            const char c = m_bytes.at(m_position);
            if (c == '{' || c == '[') {
                m_frames.push_back(Frame{c == '{', c == '{', {}});
                ++m_position;
            } else if (c == '}' || c == ']') {
                if (m_frames.empty() || m_frames.back().object != (c == '}'))
                    return false;
                m_frames.pop_back();
                ++m_position;
            } else if (c == ',') {
                if (!m_frames.empty())
                    m_frames.back().expectingKey = m_frames.back().object;
                ++m_position;
            } else if (c == '"') {
                const int start = m_position;
                QString text;
                if (!readString(text))
                    return false;
                if (!m_frames.empty() && m_frames.back().expectingKey) {
                    Frame& frame = m_frames.back();
                    frame.expectingKey = false;
                    if (frame.keys.contains(text)) {
                        key = text;
                        offset = start;
                        return true;
                    }
                    frame.keys.insert(text);
                }
            } else {
                ++m_position; // white space, colons, numbers and literals
            }
        }
        return false;
    }

private:
    struct Frame
    {
        bool object;
        bool expectingKey;
        QSet<QString> keys;
    };

    // At the opening quote; leaves the position behind the closing one.
    bool readString(QString& text)
    {
        int runStart = ++m_position;
        while (m_position < m_bytes.size()) {
            const char c = m_bytes.at(m_position);
            if (c == '"') {
                text += QString::fromUtf8(m_bytes.constData() + runStart, m_position - runStart);
                ++m_position;
                return true;
            }
            if (c != '\\') {
                ++m_position;
                continue;
            }
            text += QString::fromUtf8(m_bytes.constData() + runStart, m_position - runStart);
            if (!readEscape(text))
                return false;
            runStart = m_position;
        }
        return false;
    }

    // At the backslash; leaves the position behind the escape.
    bool readEscape(QString& text)
    {
        if (m_position + 1 >= m_bytes.size())
            return false;
        const char kind = m_bytes.at(m_position + 1);
        m_position += 2;
        switch (kind) {
        case '"': text += QLatin1Char('"'); return true;
        case '\\': text += QLatin1Char('\\'); return true;
        case '/': text += QLatin1Char('/'); return true;
        case 'b': text += QLatin1Char('\b'); return true;
        case 'f': text += QLatin1Char('\f'); return true;
        case 'n': text += QLatin1Char('\n'); return true;
        case 'r': text += QLatin1Char('\r'); return true;
        case 't': text += QLatin1Char('\t'); return true;
        case 'u': {
            bool ok = false;
            const ushort unit = m_bytes.mid(m_position, 4).toUShort(&ok, 16);
            if (!ok || m_position + 4 > m_bytes.size())
                return false;
            text += QChar(unit); // a surrogate pair arrives as two units, as QString holds it
            m_position += 4;
            return true;
        }
        default:
            // Qt's parser takes an unknown escape as the character itself; so does the scan, or a
            // repeated key behind it would slip through.
            text += QLatin1Char(kind);
            return true;
        }
    }

    const QByteArray& m_bytes;
    int m_position = 0;
    std::vector<Frame> m_frames;
};

} // namespace

QJsonDocument parseJsonStrictly(const QByteArray& bytes, QString& error, int& offset)
{
    QString key;
    if (CRepeatedKeyFinder(bytes).find(key, offset)) {
        error = QStringLiteral("the key '%1' is given twice in one object").arg(key);
        return {};
    }
    QJsonParseError parseError{};
    QJsonDocument document = QJsonDocument::fromJson(bytes, &parseError);
    if (parseError.error != QJsonParseError::NoError) {
        error = parseError.errorString();
        // Qt's offset is past the character it choked on, except for trailing garbage, and past
        // the end for a document cut short; the fault is the byte before, and at most the last.
        const int past = parseError.error == QJsonParseError::GarbageAtEnd ? 0 : 1;
        offset = qBound(0, parseError.offset - past, qMax(0, bytes.size() - 1));
        return {};
    }
    return document;
}

QString positionText(const QByteArray& bytes, int offset)
{
    const QByteArray before = bytes.left(offset);
    const int line = before.count('\n') + 1;
    const int column = offset - (before.lastIndexOf('\n') + 1) + 1;
    return QStringLiteral("byte %1 (line %2, column %3)").arg(offset).arg(line).arg(column);
}

} // namespace TavixSim
