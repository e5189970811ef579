#pragma once

#include <QTextStream>

// The process's standard output and error as text streams, shared by every
// command so their output is never interleaved out of order.
namespace cli {

QTextStream &out();
QTextStream &err();

} // namespace cli
