// SPDX-License-Identifier: MIT
#include "commandline/QrCode.h"

#include <memory>
#include <qrencode.h>
#include <stdexcept>

namespace commandline {

namespace {

constexpr int MARGIN = 4; ///< as the standard wants it, for readers to find the code
constexpr const char* BLACK_ON_WHITE = "\033[30;107m";
constexpr const char* AS_BEFORE = "\033[0m";

// What a character shows of two rows: by dark above, dark below. Characters are drawn in black on white.
constexpr const char* INKED[2][2] = {{" ", "\u2584"}, {"\u2580", "\u2588"}};
// Characters are drawn in the light colour of a dark terminal.
constexpr const char* LIT[2][2] = {{"\u2588", "\u2580"}, {"\u2584", " "}};

} // namespace

QrCode::QrCode(const std::string& text)
{
    const std::unique_ptr<QRcode, void (*)(QRcode*)> code(QRcode_encodeString8bit(text.c_str(), 0, QR_ECLEVEL_M), &QRcode_free);
    if (!code)
        throw std::runtime_error("there is no QR code for this text");
    m_width = code->width;
    const auto count = static_cast<std::size_t>(m_width) * static_cast<std::size_t>(m_width);
    for (std::size_t i = 0; i < count; ++i)
        m_dark.push_back((code->data[i] & 1) != 0);
}

bool QrCode::isDark(int column, int row) const
{
    if (column < 0 || row < 0 || column >= m_width || row >= m_width)
        return false;
    return m_dark[static_cast<std::size_t>(row) * static_cast<std::size_t>(m_width) + static_cast<std::size_t>(column)];
}

std::string QrCode::lines(Manner manner) const
{
    const auto& characters = manner == Manner::COLOURS ? INKED : LIT;
    std::string text;
    for (int row = -MARGIN; row < m_width + MARGIN; row += 2) {
        if (manner == Manner::COLOURS)
            text += BLACK_ON_WHITE;
        for (int column = -MARGIN; column < m_width + MARGIN; ++column)
            text += characters[isDark(column, row) ? 1 : 0][isDark(column, row + 1) ? 1 : 0];
        text += manner == Manner::COLOURS ? std::string(AS_BEFORE) + "\n" : std::string("\n");
    }
    return text;
}

std::vector<std::string> QrCode::rows() const
{
    std::vector<std::string> rows(static_cast<std::size_t>(m_width));
    for (int row = 0; row < m_width; ++row)
        for (int column = 0; column < m_width; ++column)
            rows[static_cast<std::size_t>(row)] += isDark(column, row) ? '1' : '0';
    return rows;
}

std::string QrCode::svg() const
{
    const std::string size = std::to_string(m_width + 2 * MARGIN);
    std::string path;
    for (int row = 0; row < m_width; ++row) {
        for (int column = 0; column < m_width; ++column) {
            if (!isDark(column, row))
                continue;
            int run = 1;
            while (isDark(column + run, row))
                ++run;
            path += "M" + std::to_string(column + MARGIN) + " " + std::to_string(row + MARGIN) + "h" + std::to_string(run) +
                    "v1h-" + std::to_string(run) + "z";
            column += run - 1;
        }
    }
    return R"(<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 )" + size + " " + size +
           R"(" shape-rendering="crispEdges"><path fill="#fff" d="M0 0h)" + size + "v" + size + R"(H0z"/><path d=")" + path +
           R"("/></svg>)";
}

} // namespace commandline
