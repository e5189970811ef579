#pragma once

#include <QByteArray>
#include <QByteArrayView>

#include <optional>

namespace json {

// The parser refuses two forms that the hub's earlier reader accepted and
// that a service may well send: integer literals beyond 64 bits, read as the
// nearest double, and escapes of unpaired UTF-16 surrogates, such as a
// string cut in the middle of an emoji. Returns the document with the first
// given an exponent ("e0", so they parse as doubles) and the second written
// as U+FFFD, or nothing when it holds neither. Everything else is left as it
// is, for the parser to judge.
std::optional<QByteArray> rewriteRefusedForms(QByteArrayView document);

} // namespace json
