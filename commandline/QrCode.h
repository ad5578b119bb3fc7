// SPDX-License-Identifier: MIT
/// \file QR codes, for terminals and for pages.
#ifndef COMMANDLINE_QRCODE_H
#define COMMANDLINE_QRCODE_H

#include <string>
#include <vector>

namespace commandline {

/// The QR code of a text.
class QrCode {
public:
    /// Throws std::runtime_error for a text that is empty or too long for one.
    explicit QrCode(const std::string& text);

    /// How a code is written in characters.
    enum class Manner {
        COLOURS, ///< black on white, whatever the colours of the terminal are
        PLAIN,   ///< for terminals that write light on dark, and for files
    };
    /// The code in lines, each of which holds two rows of it.
    std::string lines(Manner manner) const;

    /// The code as a picture: black on white, with its margin.
    std::string svg() const;

    /// How many squares there are in a row, and how many rows; without the margin.
    int width() const { return m_width; }
    /// The rows, a "1" for each dark square and a "0" for each light one.
    std::vector<std::string> rows() const;

private:
    bool isDark(int column, int row) const;

    int m_width = 0;
    std::vector<bool> m_dark;
};

} // namespace commandline

#endif
