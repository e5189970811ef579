#pragma once

#include <QString>
#include <QTextStream>

// The process's standard output and error as text streams, shared by every
// command so their output is never interleaved out of order.
namespace cli {

QTextStream &out();
QTextStream &err();

// `text` safe for one line of a terminal: backslashes and control
// characters (newlines, escape sequences, U+0000) become C-style escapes,
// so a name from a server or the disk can neither break a line nor drive
// the terminal.
QString oneLine(const QString &text);

// "quillmarsh-hub: <message>" on standard error, as one line.
void complain(const QString &message);

} // namespace cli
