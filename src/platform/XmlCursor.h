#pragma once

#include <QByteArrayView>
#include <QVarLengthArray>

#include <cstdint>
#include <optional>
#include <string_view>

namespace platform::xmlplist {

// The elements of a property list.
enum class Element : uint8_t { Plist, Dict, Array, Key, String, Integer, Real, Date, Data, True, False };

// Text as read from a document; keys and versions are short.
using Text = QVarLengthArray<char, 128>;

// Characters of an XML declaration's values (version, encoding, yes or no),
// of a DOCTYPE's identifiers (quotes left out) and of <plist>'s attributes
// (no markup, quotes or references).
bool isDeclarationChar(char c);
bool isLiteralChar(char c);
bool isAttributeChar(char c);

// A position in an XML document and the lexical pieces of XML that property
// lists use. Names are ASCII; characters are UTF-8, invalid sequences
// taken as U+FFFD as a UTF-8 decoder would. Every piece returns false (or
// no value) on what XML forbids, the position then unspecified.
class Cursor
{
public:
    enum class TagEnd { Bad, Empty, Open };

    explicit Cursor(QByteArrayView bytes);

    bool atEnd() const { return m_pos == m_end; }
    bool skip(std::string_view text)
    {
        if (size_t(m_end - m_pos) < text.size())
            return false;
        for (size_t i = 0; i < text.size(); ++i) {
            if (m_pos[i] != text[i])
                return false;
        }
        m_pos += text.size();
        return true;
    }
    // White space; whether there was any.
    bool space();
    // White space and comments.
    bool misc();
    // After "<!--": up to "-->", with no "--" before it.
    bool comment();
    // A name ([A-Za-z_][A-Za-z0-9._-]*); empty when none starts here.
    std::string_view name();
    // S? "=" S?
    bool equals();
    // A quoted value whose characters all pass `allowed`.
    std::optional<std::string_view> quoted(bool (*allowed)(char));
    // After "<": the name of a property-list element.
    std::optional<Element> elementName();
    // The rest of a start tag that takes no attributes.
    TagEnd tagEnd();
    // After "</": the name of `element` and ">".
    bool endTag(Element element);
    // After a start tag of `element`: its text and end tag. Rich text (keys
    // and strings) may hold references, comments and CDATA; the rest only
    // characters. The text as read, references resolved, goes to `out`.
    bool text(Element element, Text *out, bool rich);

private:
    // One character XML allows: any byte of a multi-byte sequence but the
    // start of U+FFFE and U+FFFF.
    bool character()
    {
        const auto c = static_cast<unsigned char>(*m_pos);
        if (c < 0x20 && c != '\t' && c != '\n' && c != '\r')
            return false;
        if (c == 0xEF && m_end - m_pos >= 3 && static_cast<unsigned char>(m_pos[1]) == 0xBF
            && (static_cast<unsigned char>(m_pos[2]) & 0xFE) == 0xBE)
            return false;
        ++m_pos;
        return true;
    }
    bool reference(Text *out);

    const char *m_pos;
    const char *const m_end;
};

} // namespace platform::xmlplist
