#include "XmlCursor.h"

#include <array>
#include <cstring>

namespace platform::xmlplist {
namespace {

// In the order of Element.
constexpr std::string_view ElementNames[] = {"plist", "dict", "array", "key", "string", "integer",
                                             "real", "date", "data", "true", "false"};

bool isSpace(char c)
{
    return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}

bool isNameStart(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_';
}

bool isNameChar(char c)
{
    return isNameStart(c) || (c >= '0' && c <= '9') || c == '.' || c == '-';
}

constexpr std::array<bool, 256> LiteralChars = [] {
    std::array<bool, 256> chars{};
    for (int c = 0; c < 256; ++c)
        chars[c] = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
    for (const char c : std::string_view(" \r\n-()+,./:=?;!*#@$_%"))
        chars[uchar(c)] = true;
    return chars;
}();

bool isXmlChar(char32_t c)
{
    return c == 0x9 || c == 0xA || c == 0xD || (c >= 0x20 && c <= 0xD7FF) || (c >= 0xE000 && c <= 0xFFFD)
        || (c >= 0x10000 && c <= 0x10FFFF);
}

// Bytes that end a run of plain text: markup, references, the start of
// "]]>", control characters and the first byte of U+FFFE and U+FFFF.
constexpr std::array<bool, 256> StopsText = [] {
    std::array<bool, 256> stops{};
    for (int c = 0; c < 0x20; ++c)
        stops[c] = c != '\t' && c != '\n' && c != '\r';
    stops['<'] = stops['&'] = stops[']'] = stops[0xEF] = true;
    return stops;
}();

void appendUtf8(Text &out, char32_t c)
{
    if (c < 0x80) {
        out.append(char(c));
    } else if (c < 0x800) {
        out.append(char(0xC0 | (c >> 6)));
        out.append(char(0x80 | (c & 0x3F)));
    } else if (c < 0x10000) {
        out.append(char(0xE0 | (c >> 12)));
        out.append(char(0x80 | ((c >> 6) & 0x3F)));
        out.append(char(0x80 | (c & 0x3F)));
    } else {
        out.append(char(0xF0 | (c >> 18)));
        out.append(char(0x80 | ((c >> 12) & 0x3F)));
        out.append(char(0x80 | ((c >> 6) & 0x3F)));
        out.append(char(0x80 | (c & 0x3F)));
    }
}

// "#" and decimal digits or "#x" and hexadecimal ones, eight characters at
// most (longer ones other readers refuse), naming a character XML allows.
bool characterReference(std::string_view name, char32_t &c)
{
    if (name.size() < 2 || name.size() > 8 || name[0] != '#')
        return false;
    const bool hex = name[1] == 'x';
    const std::string_view digits = name.substr(hex ? 2 : 1);
    if (digits.empty())
        return false;
    c = 0;
    for (const char d : digits) {
        int value = -1;
        if (d >= '0' && d <= '9')
            value = d - '0';
        else if (hex && d >= 'a' && d <= 'f')
            value = d - 'a' + 10;
        else if (hex && d >= 'A' && d <= 'F')
            value = d - 'A' + 10;
        if (value < 0)
            return false;
        c = c * (hex ? 16 : 10) + char32_t(value);
    }
    return isXmlChar(c);
}

} // namespace

bool isDeclarationChar(char c)
{
    return isNameChar(c);
}

bool isLiteralChar(char c)
{
    return LiteralChars[uchar(c)];
}

bool isAttributeChar(char c)
{
    return c != '<' && c != '>' && c != '"' && c != '\'' && c != '&';
}

Cursor::Cursor(QByteArrayView bytes)
    : m_pos(bytes.data())
    , m_end(bytes.data() + bytes.size())
{
}

bool Cursor::space()
{
    const char *start = m_pos;
    while (m_pos < m_end && isSpace(*m_pos))
        ++m_pos;
    return m_pos != start;
}

bool Cursor::comment()
{
    while (m_pos < m_end) {
        if (skip("--"))
            return skip(">");
        if (!character())
            return false;
    }
    return false;
}

bool Cursor::misc()
{
    for (;;) {
        space();
        if (!skip("<!--"))
            return true;
        if (!comment())
            return false;
    }
}

std::string_view Cursor::name()
{
    const char *start = m_pos;
    if (m_pos < m_end && isNameStart(*m_pos)) {
        while (m_pos < m_end && isNameChar(*m_pos))
            ++m_pos;
    }
    return std::string_view(start, size_t(m_pos - start));
}

bool Cursor::equals()
{
    space();
    if (!skip("="))
        return false;
    space();
    return true;
}

std::optional<std::string_view> Cursor::quoted(bool (*allowed)(char))
{
    if (m_pos == m_end || (*m_pos != '"' && *m_pos != '\''))
        return std::nullopt;
    const char quote = *m_pos++;
    const char *start = m_pos;
    const auto *close = static_cast<const char *>(std::memchr(m_pos, quote, size_t(m_end - m_pos)));
    if (!close)
        return std::nullopt;
    while (m_pos < close) {
        if (!allowed(*m_pos) || !character())
            return std::nullopt;
    }
    ++m_pos;
    return std::string_view(start, size_t(close - start));
}

std::optional<Element> Cursor::elementName()
{
    const std::string_view found = name();
    for (size_t i = 0; i < std::size(ElementNames); ++i) {
        if (ElementNames[i] == found)
            return Element(i);
    }
    return std::nullopt;
}

Cursor::TagEnd Cursor::tagEnd()
{
    space();
    if (skip("/>"))
        return TagEnd::Empty;
    return skip(">") ? TagEnd::Open : TagEnd::Bad;
}

bool Cursor::endTag(Element element)
{
    if (!skip(ElementNames[size_t(element)]))
        return false;
    space();
    return skip(">");
}

// After "&": one of the five named references or a character reference.
bool Cursor::reference(Text *out)
{
    const char *name = m_pos;
    const char *semicolon = name;
    while (semicolon < m_end && semicolon - name <= 8 && *semicolon != ';')
        ++semicolon;
    if (semicolon == m_end || *semicolon != ';')
        return false;
    const std::string_view ref(name, size_t(semicolon - name));
    char32_t c = 0;
    if (ref == "amp")
        c = '&';
    else if (ref == "lt")
        c = '<';
    else if (ref == "gt")
        c = '>';
    else if (ref == "quot")
        c = '"';
    else if (ref == "apos")
        c = '\'';
    else if (!characterReference(ref, c))
        return false;
    if (out)
        appendUtf8(*out, c);
    m_pos = semicolon + 1;
    return true;
}

bool Cursor::text(Element element, Text *out, bool rich)
{
    if (out)
        out->clear();
    for (;;) {
        const char *run = m_pos;
        while (m_pos < m_end && !StopsText[uchar(*m_pos)])
            ++m_pos;
        if (out)
            out->append(run, m_pos - run);
        if (m_pos == m_end)
            return false;
        if (*m_pos == '<') {
            if (skip("</"))
                return endTag(element);
            if (rich && skip("<!--")) {
                if (!comment())
                    return false;
            } else if (rich && skip("<![CDATA[")) {
                const char *start = m_pos;
                bool closed = false;
                while (m_pos < m_end && !(closed = skip("]]>"))) {
                    if (!character())
                        return false;
                }
                if (!closed)
                    return false;
                if (out)
                    out->append(start, m_pos - 3 - start);
            } else {
                return false;
            }
        } else if (*m_pos == '&') {
            ++m_pos;
            if (!rich || !reference(out))
                return false;
        } else if (*m_pos == ']' && skip("]]>")) {
            return false;
        } else {
            const char *c = m_pos;
            if (!character())
                return false;
            if (out)
                out->append(c, m_pos - c);
        }
    }
}

} // namespace platform::xmlplist
