#ifndef VAULTIX_TOOLS_TERMINAL_H
#define VAULTIX_TOOLS_TERMINAL_H

#include <QString>

// Line input for the command-line tool: plain lines from standard input and
// secrets typed on the terminal without echo.
class CTerminal
{
public:
    // True when standard input is a terminal.
    static bool stdinIsTerminal();

    // Reads one line from standard input, without its line end. False at the
    // end of input with nothing read (`line` is then empty).
    static bool readStdinLine(QString& line);

    // Shows `prompt` on the terminal (/dev/tty, else standard input when it
    // is one) and reads a line with echo switched off. False when there is no
    // terminal or the input ended.
    static bool readSecret(const QString& prompt, QString& secret);

    // Overwrites the string's characters before dropping them.
    static void wipe(QString& text);
};

#endif
