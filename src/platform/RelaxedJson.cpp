#include "RelaxedJson.h"

#include <QVarLengthArray>

#include <array>
#include <cstring>
#include <string_view>
#include <utility>

namespace platform::relaxedjson {
namespace {

constexpr int MaximumDepth = 1024;
constexpr qsizetype MaximumNumberLength = 24;

bool isSpace(char c)
{
    return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}

bool isDigit(char c)
{
    return c >= '0' && c <= '9';
}

int hexDigit(char c)
{
    if (isDigit(c))
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    return -1;
}

class Scanner
{
public:
    Scanner(QByteArrayView json, QLatin1StringView key)
        : m_pos(json.data())
        , m_end(json.data() + json.size())
        , m_key(key.data(), size_t(key.size()))
    {
    }

    std::optional<QString> run()
    {
        // A byte order mark opens the document only when more follows.
        if (m_end - m_pos > 3 && std::memcmp(m_pos, "\xEF\xBB\xBF", 3) == 0)
            m_pos += 3;
        if (!space() || m_pos == m_end || *m_pos != '{' || !document() || !space() || m_pos != m_end)
            return std::nullopt;
        return m_found;
    }

private:
    // Past white space and comments from `p`; false on an unclosed comment.
    bool blanks(const char *&p) const
    {
        for (;;) {
            while (p < m_end && isSpace(*p))
                ++p;
            if (m_end - p < 2 || p[0] != '/')
                return true;
            if (p[1] == '/') {
                while (p < m_end && *p != '\n')
                    ++p;
            } else if (p[1] == '*') {
                const auto *close = static_cast<const char *>(memmem(p + 2, size_t(m_end - p - 2), "*/", 2));
                if (!close)
                    return false;
                p = close + 2;
            } else {
                return true;
            }
        }
    }

    // White space, comments, and a comma that only they part from a closing
    // bracket: the SDKs' trailing commas.
    bool space()
    {
        for (;;) {
            if (!blanks(m_pos))
                return false;
            if (m_pos == m_end || *m_pos != ',')
                return true;
            const char *after = m_pos + 1;
            if (!blanks(after))
                return false;
            if (after == m_end || (*after != '}' && *after != ']'))
                return true;
            m_pos = after;
        }
    }

    // After '"': the string up to its closing quote, decoded into `out`
    // when given.
    bool string(QString *out)
    {
        if (out)
            out->clear();
        m_escaped = false;
        for (;;) {
            const char *run = m_pos;
            while (m_pos < m_end && uchar(*m_pos) >= 0x20 && uchar(*m_pos) < 0x80 && *m_pos != '"' && *m_pos != '\\')
                ++m_pos;
            if (out)
                out->append(QLatin1StringView(run, m_pos - run));
            if (m_pos == m_end || uchar(*m_pos) < 0x20)
                return false;
            if (*m_pos == '"') {
                ++m_pos;
                return true;
            }
            if (*m_pos == '\\') {
                if (!escape(out))
                    return false;
            } else if (!utf8(out)) {
                return false;
            }
        }
    }

    bool escape(QString *out)
    {
        m_escaped = true;
        if (m_end - m_pos < 2)
            return false;
        const char c = m_pos[1];
        m_pos += 2;
        static constexpr std::string_view Escaped = "\"\\/bfnrt";
        static constexpr std::string_view Meant = "\"\\/\b\f\n\r\t";
        if (const size_t i = Escaped.find(c); i != std::string_view::npos) {
            if (out)
                out->append(QLatin1Char(Meant[i]));
            return true;
        }
        char16_t unit = 0;
        if (c != 'u' || !hex4(unit))
            return false;
        if (QChar::isLowSurrogate(unit))
            return false;
        if (QChar::isHighSurrogate(unit)) {
            char16_t low = 0;
            if (m_end - m_pos < 2 || m_pos[0] != '\\' || m_pos[1] != 'u')
                return false;
            m_pos += 2;
            if (!hex4(low) || !QChar::isLowSurrogate(low))
                return false;
            if (out) {
                out->append(QChar(unit));
                out->append(QChar(low));
            }
            return true;
        }
        if (out)
            out->append(QChar(unit));
        return true;
    }

    bool hex4(char16_t &unit)
    {
        if (m_end - m_pos < 4)
            return false;
        for (int i = 0; i < 4; ++i) {
            const int digit = hexDigit(*m_pos++);
            if (digit < 0)
                return false;
            unit = char16_t(unit << 4 | digit);
        }
        return true;
    }

    // One UTF-8 sequence of a character other than a surrogate, in its
    // shortest form.
    bool utf8(QString *out)
    {
        const auto lead = uchar(*m_pos);
        const int length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : lead >= 0xC0 ? 2 : 0;
        if (length == 0 || lead > 0xF4 || m_end - m_pos < length)
            return false;
        char32_t c = lead & (0x7F >> length);
        for (int i = 1; i < length; ++i) {
            const auto next = uchar(m_pos[i]);
            if ((next & 0xC0) != 0x80)
                return false;
            c = c << 6 | (next & 0x3F);
        }
        static constexpr char32_t Least[] = {0, 0, 0x80, 0x800, 0x10000};
        if (c < Least[length] || c > 0x10FFFF || (c >= 0xD800 && c <= 0xDFFF))
            return false;
        if (out && QChar::requiresSurrogates(c)) {
            out->append(QChar(QChar::highSurrogate(c)));
            out->append(QChar(QChar::lowSurrogate(c)));
        } else if (out) {
            out->append(QChar(char16_t(c)));
        }
        m_pos += length;
        return true;
    }

    // Strict JSON numbers of moderate length and exponent.
    bool number()
    {
        const char *start = m_pos;
        if (m_pos < m_end && *m_pos == '-')
            ++m_pos;
        if (m_pos < m_end && *m_pos == '0')
            ++m_pos;
        else if (!digits())
            return false;
        if (m_pos < m_end && *m_pos == '.') {
            ++m_pos;
            if (!digits())
                return false;
        }
        if (m_pos < m_end && (*m_pos == 'e' || *m_pos == 'E')) {
            ++m_pos;
            if (m_pos < m_end && (*m_pos == '-' || *m_pos == '+'))
                ++m_pos;
            const char *exponent = m_pos;
            if (!digits() || m_pos - exponent > 2)
                return false;
        }
        return m_pos - start <= MaximumNumberLength && m_pos < m_end;
    }

    bool digits()
    {
        const char *start = m_pos;
        while (m_pos < m_end && isDigit(*m_pos))
            ++m_pos;
        return m_pos != start;
    }

    bool word(std::string_view text)
    {
        if (size_t(m_end - m_pos) <= text.size() || std::memcmp(m_pos, text.data(), text.size()) != 0)
            return false;
        m_pos += text.size();
        return true;
    }

    // From the top '{' to its '}', containers kept on a stack of their kinds.
    bool document()
    {
        std::array<char, MaximumDepth> open; // the closing bracket of each
        int depth = 0;
        bool topKey = false; // the member being read is the top object's `key`
        QString text;
        for (;;) {
            // A value (or, in an object, a member) starts here.
            const bool inObject = depth > 0 && open[depth - 1] == '}';
            if (inObject) {
                if (m_pos == m_end || *m_pos != '"')
                    return false;
                ++m_pos;
                const bool top = depth == 1;
                if (!string(top ? &text : nullptr) || !space() || m_pos == m_end || *m_pos++ != ':' || !space())
                    return false;
                topKey = top && text == m_key;
            }
            if (m_pos == m_end)
                return false;
            const char c = *m_pos;
            const bool wanted = std::exchange(topKey, false);
            if (wanted)
                m_found.reset();
            if (c == '{' || c == '[') {
                if (depth == MaximumDepth)
                    return false;
                const char close = c == '{' ? '}' : ']';
                ++m_pos;
                if (!space())
                    return false;
                if (m_pos == m_end || *m_pos != close) {
                    open[depth++] = close;
                    continue;
                }
                ++m_pos; // empty
            } else if (depth == 0) {
                return false; // the top value is an object
            } else if (c == '"') {
                ++m_pos;
                if (!string(wanted ? &text : nullptr))
                    return false;
                // Text without escapes was kept as UTF-8, and QString::fromUtf8
                // drops an opening byte order mark.
                if (wanted && !m_escaped && text.startsWith(QChar(0xFEFF)))
                    text.remove(0, 1);
                if (wanted)
                    m_found = text;
            } else if (!(word("true") || word("false") || word("null") || number())) {
                return false;
            }
            // After a value: a separator and the next one, or closing brackets.
            for (;;) {
                if (depth == 0)
                    return true;
                if (!space())
                    return false;
                if (m_pos < m_end && *m_pos == ',') {
                    ++m_pos;
                    if (!space())
                        return false;
                    break;
                }
                if (m_pos == m_end || *m_pos != open[depth - 1])
                    return false;
                ++m_pos;
                --depth;
            }
        }
    }

    const char *m_pos;
    const char *const m_end;
    const QLatin1StringView m_key;
    std::optional<QString> m_found;
    bool m_escaped = false; // the last string held an escape
};

} // namespace

std::optional<QString> topLevelString(QByteArrayView json, QLatin1StringView key)
{
    return Scanner(json, key).run();
}

} // namespace platform::relaxedjson
