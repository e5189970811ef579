#include "XmlPropertyList.h"

#include "PropertyListLimits.h"

#include <QByteArray>
#include <QVarLengthArray>

#include <array>
#include <cstring>
#include <string_view>
#include <utility>

namespace platform::xmlplist {
namespace {

// In the order of their names below.
enum class Element : uint8_t { Plist, Dict, Array, Key, String, Integer, Real, Date, Data, True, False };
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

// What the XML declaration's values (version, encoding name, yes or no) are made of.
bool isDeclarationChar(char c)
{
    return isNameChar(c);
}

// A DOCTYPE's public identifier and system literal, quotes left out.
constexpr std::array<bool, 256> LiteralChars = [] {
    std::array<bool, 256> chars{};
    for (int c = 0; c < 256; ++c)
        chars[c] = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
    for (const char c : std::string_view(" \r\n-()+,./:=?;!*#@$_%"))
        chars[uchar(c)] = true;
    return chars;
}();

bool isLiteralChar(char c)
{
    return LiteralChars[uchar(c)];
}

// The attributes of <plist>: no markup, quotes or references inside.
bool isAttributeChar(char c)
{
    return c != '<' && c != '>' && c != '"' && c != '\'' && c != '&';
}

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

// A key or value as read; keys and versions are short.
using Text = QVarLengthArray<char, 128>;

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

class Scanner
{
public:
    Scanner(QByteArrayView bytes, QLatin1StringView key)
        : m_pos(bytes.data())
        , m_end(bytes.data() + bytes.size())
        , m_key(key.data(), size_t(key.size()))
    {
    }

    std::optional<QString> run()
    {
        if (skip("<?xml") && !declaration())
            return std::nullopt;
        if (!misc() || (skip("<!DOCTYPE") && !(doctype() && misc())))
            return std::nullopt;
        if (!skip("<plist") || !plistAttributes() || !content() || !misc() || m_pos != m_end)
            return std::nullopt;
        return m_found;
    }

private:
    enum class TagEnd { Bad, Empty, Open };

    struct Frame
    {
        Element element;
        bool root = false;          // the dictionary at the root
        bool awaitingValue = false; // a dictionary after a key
        bool keyMatched = false;    // ... that key being the one asked for
        bool holdsValue = false;    // <plist> once its value came
    };

    bool skip(std::string_view text)
    {
        if (size_t(m_end - m_pos) < text.size() || std::memcmp(m_pos, text.data(), text.size()) != 0)
            return false;
        m_pos += text.size();
        return true;
    }

    bool space()
    {
        const char *start = m_pos;
        while (m_pos < m_end && isSpace(*m_pos))
            ++m_pos;
        return m_pos != start;
    }

    // One character XML allows (any byte of a multi-byte sequence but the
    // start of U+FFFE and U+FFFF: invalid UTF-8 reads as U+FFFD).
    bool character()
    {
        const auto c = uchar(*m_pos);
        if (c < 0x20 && !isSpace(char(c)))
            return false;
        if (c == 0xEF && m_end - m_pos >= 3 && uchar(m_pos[1]) == 0xBF && (uchar(m_pos[2]) & 0xFE) == 0xBE)
            return false;
        ++m_pos;
        return true;
    }

    // After "<!--": up to "-->", with no "--" before it.
    bool comment()
    {
        while (m_pos < m_end) {
            if (skip("--"))
                return skip(">");
            if (!character())
                return false;
        }
        return false;
    }

    // White space and comments.
    bool misc()
    {
        for (;;) {
            space();
            if (!skip("<!--"))
                return true;
            if (!comment())
                return false;
        }
    }

    // A quoted value whose characters all pass `allowed`.
    std::optional<std::string_view> quoted(bool (*allowed)(char))
    {
        if (m_pos == m_end || (*m_pos != '"' && *m_pos != '\''))
            return std::nullopt;
        const char quote = *m_pos++;
        const char *start = m_pos;
        while (m_pos < m_end && *m_pos != quote) {
            if (!allowed(*m_pos) || !character())
                return std::nullopt;
        }
        if (m_pos == m_end)
            return std::nullopt;
        return std::string_view(start, size_t(m_pos++ - start));
    }

    bool equals()
    {
        space();
        if (!skip("="))
            return false;
        space();
        return true;
    }

    // After "<?xml": version 1.0, then optionally an encoding and standalone.
    bool declaration()
    {
        if (!space() || !skip("version") || !equals() || quoted(isDeclarationChar) != "1.0")
            return false;
        bool spaced = space();
        if (spaced && skip("encoding")) {
            const auto name = equals() ? quoted(isDeclarationChar) : std::nullopt;
            if (!name || name->empty() || !isNameStart((*name)[0]) || (*name)[0] == '_')
                return false;
            spaced = space();
        }
        if (spaced && skip("standalone")) {
            const auto value = equals() ? quoted(isDeclarationChar) : std::nullopt;
            if (value != "yes" && value != "no")
                return false;
            space();
        }
        return skip("?>");
    }

    // After "<!DOCTYPE": a name and an optional external identifier.
    bool doctype()
    {
        if (!space() || m_pos == m_end || !isNameStart(*m_pos))
            return false;
        while (m_pos < m_end && isNameChar(*m_pos))
            ++m_pos;
        if (space()) {
            const bool isPublic = skip("PUBLIC");
            if (isPublic || skip("SYSTEM")) {
                if (!space() || !quoted(isLiteralChar) || (isPublic && (!space() || !quoted(isLiteralChar))))
                    return false;
                space();
            }
        }
        return skip(">");
    }

    // After "<plist": attributes, then ">" (an empty <plist/> holds no value).
    bool plistAttributes()
    {
        std::array<std::string_view, 8> names;
        size_t count = 0;
        for (;;) {
            const bool spaced = space();
            if (skip(">"))
                return true;
            if (!spaced || count == names.size() || m_pos == m_end || !isNameStart(*m_pos))
                return false;
            const char *start = m_pos;
            while (m_pos < m_end && isNameChar(*m_pos))
                ++m_pos;
            const std::string_view name(start, size_t(m_pos - start));
            if (name.size() >= 3 && qstrnicmp(name.data(), "xml", 3) == 0)
                return false; // reserved, and namespace declarations
            for (size_t i = 0; i < count; ++i) {
                if (names[i] == name)
                    return false;
            }
            names[count++] = name;
            if (!equals() || !quoted(isAttributeChar))
                return false;
        }
    }

    // After "<": the name of a property-list element.
    std::optional<Element> elementName()
    {
        const char *start = m_pos;
        while (m_pos < m_end && isNameChar(*m_pos))
            ++m_pos;
        const std::string_view name(start, size_t(m_pos - start));
        for (size_t i = 0; i < std::size(ElementNames); ++i) {
            if (ElementNames[i] == name)
                return Element(i);
        }
        return std::nullopt;
    }

    // The rest of a start tag, which takes no attributes.
    TagEnd tagEnd()
    {
        space();
        if (skip("/>"))
            return TagEnd::Empty;
        return skip(">") ? TagEnd::Open : TagEnd::Bad;
    }

    // After "</": the name of `element` and ">".
    bool endTag(Element element)
    {
        if (!skip(ElementNames[size_t(element)]))
            return false;
        space();
        return skip(">");
    }

    // After "&": one of the five named references or a character reference.
    bool reference(Text *out)
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

    // After a start tag of `element`: its text and end tag. Rich text (keys
    // and strings) may hold references, comments and CDATA; the rest only
    // characters. The text, as read, goes to `out` when given.
    bool text(Element element, Text *out, bool rich)
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

    // After <plist ...>: its one value, nested elements kept on a stack as
    // deep as the depth allowed, then </plist>.
    bool content()
    {
        std::array<Frame, plistlimits::MaximumDepth> stack;
        size_t depth = 1;
        stack[0] = Frame{Element::Plist};
        for (;;) {
            if (!misc() || !skip("<"))
                return false;
            Frame &top = stack[depth - 1];
            if (skip("/")) {
                if (!endTag(top.element) || top.awaitingValue || (top.element == Element::Plist && !top.holdsValue))
                    return false;
                if (--depth == 0)
                    return true;
                continue;
            }
            const auto element = elementName();
            if (!element || *element == Element::Plist || depth == stack.size())
                return false;
            // Keys alternate with values in dictionaries and stand nowhere else.
            const bool isKey = *element == Element::Key;
            if (top.element == Element::Dict ? isKey == top.awaitingValue : isKey)
                return false;
            if (top.element == Element::Plist && std::exchange(top.holdsValue, true))
                return false;
            const bool wanted = top.awaitingValue && top.keyMatched;
            if (top.element == Element::Dict)
                top.awaitingValue = isKey;
            const TagEnd end = tagEnd();
            if (end == TagEnd::Bad)
                return false;
            const bool empty = end == TagEnd::Empty;
            if (*element != Element::String && *element != Element::Key && wanted)
                m_found.reset();

            switch (*element) {
            case Element::Dict:
            case Element::Array:
                if (!empty)
                    stack[depth++] = Frame{*element, top.element == Element::Plist && *element == Element::Dict};
                break;
            case Element::Key:
            case Element::String: {
                Text *out = (isKey ? top.root : wanted) ? &m_text : nullptr;
                if (out)
                    out->clear();
                if (!empty && !text(*element, out, true))
                    return false;
                if (isKey && top.root)
                    top.keyMatched = std::string_view(m_text.data(), size_t(m_text.size())) == m_key;
                else if (wanted)
                    m_found = QString::fromUtf8(m_text.data(), qsizetype(m_text.size()));
                break;
            }
            case Element::True:
            case Element::False:
                if (!empty && !(skip("</") && endTag(*element)))
                    return false;
                break;
            default: // integer, real, date, data
                if (!empty && !text(*element, nullptr, false))
                    return false;
                break;
            }
        }
    }

    const char *m_pos;
    const char *const m_end;
    const std::string_view m_key;
    Text m_text;
    std::optional<QString> m_found;
};

} // namespace

std::optional<QString> rootString(QByteArrayView bytes, QLatin1StringView key)
{
    return Scanner(bytes, key).run();
}

} // namespace platform::xmlplist
