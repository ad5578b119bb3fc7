// SPDX-License-Identifier: MIT
#include "output/Picture.h"

#include "core/Descriptor.h"
#include "core/Errors.h"
#include "pictures/PictureProcess.h"
#include "pictures/PictureProgram.h"

#include <algorithm>
#include <cerrno>
#include <chafa.h>
#include <cmath>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <sys/mman.h>
#include <unistd.h>

namespace kinloom {

namespace {

/// Pixels of a cell where the terminal does not tell.
constexpr int CELL_WIDTH = 10;
constexpr int CELL_HEIGHT = 20;

/// Pixels of the largest picture that is decoded.
constexpr std::int64_t LARGEST = std::int64_t{1} << 28;

struct Unref {
    void operator()(ChafaTermInfo* info) const { chafa_term_info_unref(info); }
    void operator()(ChafaSymbolMap* map) const { chafa_symbol_map_unref(map); }
    void operator()(ChafaCanvasConfig* config) const { chafa_canvas_config_unref(config); }
    void operator()(ChafaCanvas* canvas) const { chafa_canvas_unref(canvas); }
    void operator()(GString* text) const { g_string_free(text, TRUE); }
};
template <class T> using Owned = std::unique_ptr<T, Unref>;

bool isWithin(std::int32_t length, int most) { return length > 0 && length <= most; }

ChafaPixelMode pixelModeOf(PictureMode mode, const ChafaTermInfo* terminal)
{
    struct Entry {
        PictureMode mode;
        ChafaPixelMode pixels;
        ChafaTermSeq needs;
    };
    // In order of quality; the first one that the terminal supports is used.
    constexpr Entry ENTRIES[] = {
        {PictureMode::KITTY, CHAFA_PIXEL_MODE_KITTY, CHAFA_TERM_SEQ_BEGIN_KITTY_IMMEDIATE_IMAGE_V1},
        {PictureMode::ITERM, CHAFA_PIXEL_MODE_ITERM2, CHAFA_TERM_SEQ_BEGIN_ITERM2_IMAGE},
        {PictureMode::SIXELS, CHAFA_PIXEL_MODE_SIXELS, CHAFA_TERM_SEQ_BEGIN_SIXELS},
    };
    for (const Entry& entry : ENTRIES) {
        const bool can = chafa_term_info_have_seq(terminal, entry.needs) != 0;
        if (mode == entry.mode || (mode == PictureMode::AUTO && can))
            return entry.pixels;
    }
    return CHAFA_PIXEL_MODE_SYMBOLS;
}

ChafaCanvasMode canvasModeOf(bool colour, const ChafaTermInfo* terminal)
{
    if (!colour)
        return CHAFA_CANVAS_MODE_FGBG;
    struct Entry {
        ChafaTermSeq needs;
        ChafaCanvasMode mode;
    };
    constexpr Entry ENTRIES[] = {
        {CHAFA_TERM_SEQ_SET_COLOR_FGBG_DIRECT, CHAFA_CANVAS_MODE_TRUECOLOR},
        {CHAFA_TERM_SEQ_SET_COLOR_FGBG_256, CHAFA_CANVAS_MODE_INDEXED_240},
        {CHAFA_TERM_SEQ_SET_COLOR_FGBG_16, CHAFA_CANVAS_MODE_INDEXED_16},
    };
    for (const Entry& entry : ENTRIES) {
        if (chafa_term_info_have_seq(terminal, entry.needs))
            return entry.mode;
    }
    return CHAFA_CANVAS_MODE_FGBG;
}

/// What the environment says of the terminal.
Owned<ChafaTermInfo> detectTerminal()
{
    gchar** const environment = g_get_environ();
    Owned<ChafaTermInfo> terminal(chafa_term_db_detect(chafa_term_db_get_default(), environment));
    g_strfreev(environment);
    return terminal;
}

/// Adds the usual sequences for what the terminal is not known to understand: the person may know better.
void supplement(ChafaTermInfo* terminal)
{
    const Owned<ChafaTermInfo> usual(chafa_term_db_get_fallback_info(chafa_term_db_get_default()));
    chafa_term_info_supplement(terminal, usual.get());
}

/// How bright the cells of a grid over a picture are, row by row.
std::vector<double> brightnessOf(const Picture& picture, int columns, int rows)
{
    std::vector<double> cells;
    for (int row = 0; row < rows; ++row) {
        for (int column = 0; column < columns; ++column) {
            const int left = picture.width * column / columns;
            const int right = std::max(left + 1, picture.width * (column + 1) / columns);
            const int top = picture.height * row / rows;
            const int bottom = std::max(top + 1, picture.height * (row + 1) / rows);
            double sum = 0;
            for (int y = top; y < bottom; ++y) {
                for (int x = left; x < right; ++x) {
                    const std::uint8_t* const pixel = &picture.pixels[4 * (static_cast<std::size_t>(y) * picture.width + x)];
                    sum += (0.299 * pixel[0] + 0.587 * pixel[1] + 0.114 * pixel[2]) * pixel[3] / 255.0;
                }
            }
            cells.push_back(sum / ((right - left) * (bottom - top)));
        }
    }
    return cells;
}

/// A picture in letters: the brighter a place, the denser its letter. Its darkest place is a blank, its brightest the densest.
std::string drawLetters(const Picture& picture, int columns, int rows)
{
    constexpr std::string_view RAMP = " .:-=+*#%@";
    const std::vector<double> cells = brightnessOf(picture, columns, rows);
    const auto [darkest, brightest] = std::minmax_element(cells.begin(), cells.end());
    const double range = std::max(1.0, *brightest - *darkest);
    std::string text;
    for (std::size_t i = 0; i < cells.size(); ++i) {
        text += RAMP[static_cast<std::size_t>(std::lround((cells[i] - *darkest) / range * (RAMP.size() - 1)))];
        if ((i + 1) % static_cast<std::size_t>(columns) == 0 && i + 1 < cells.size())
            text += '\n';
    }
    return text;
}

} // namespace

Picture readPicture(const std::string& path, int most, const std::string& program, const std::function<bool()>& giveUp)
{
    if (program.empty())
        throw Failure(Exit::FAILED, std::string("pictures cannot be shown: ") + pictures::NO_PROGRAM_BESIDE_THIS);
    const Descriptor source(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    const Descriptor output(::memfd_create("picture", MFD_CLOEXEC));
    if (!source || !output)
        throw Failure(Exit::FAILED, path + ": cannot be read: " + std::strerror(errno));
    // Other people made it: nothing of it is looked at but in a process that can do nothing else.
    pictures::PictureProcess process(program);
    const pictures::PictureOutcome outcome = process.run({pictures::PictureOrder::PIXELS, {{most, most}}}, {source.get(), 0},
                                                         {output.get()}, {LARGEST, pictures::PictureProcess::PATIENCE, giveUp});
    if (outcome != pictures::PictureOutcome::DONE)
        throw Failure(Exit::FAILED, path + ": " + pictures::sentenceOf(outcome));
    pictures::PixelsHead head;
    Picture picture;
    if (::pread(output.get(), &head, sizeof head, 0) == sizeof head && isWithin(head.width, most) && isWithin(head.height, most)) {
        picture.width = head.width;
        picture.height = head.height;
        picture.pixels.resize(std::size_t{4} * static_cast<std::size_t>(head.width) * static_cast<std::size_t>(head.height));
        if (::pread(output.get(), picture.pixels.data(), picture.pixels.size(), sizeof head) ==
            static_cast<ssize_t>(picture.pixels.size()))
            return picture;
    }
    throw Failure(Exit::FAILED, path + ": " + pictures::sentenceOf(pictures::PictureOutcome::UNDECODABLE));
}

std::string drawPicture(const Picture& picture, const Frame& frame)
{
    const Owned<ChafaTermInfo> terminal = detectTerminal();
    const bool letters = !frame.terminal && frame.mode == PictureMode::AUTO;
    const ChafaPixelMode pixels = letters ? CHAFA_PIXEL_MODE_SYMBOLS : pixelModeOf(frame.mode, terminal.get());
    const ChafaCanvasMode colours = letters ? CHAFA_CANVAS_MODE_FGBG : canvasModeOf(frame.colour, terminal.get());

    supplement(terminal.get());

    gint columns = frame.columns;
    gint rows = frame.rows;
    chafa_calc_canvas_geometry(picture.width, picture.height, &columns, &rows, static_cast<gfloat>(CELL_WIDTH) / CELL_HEIGHT, TRUE,
                               FALSE);

    if (pixels == CHAFA_PIXEL_MODE_SYMBOLS && colours == CHAFA_CANVAS_MODE_FGBG)
        return drawLetters(picture, columns, rows);

    const Owned<ChafaSymbolMap> symbols(chafa_symbol_map_new());
    const int tags = CHAFA_SYMBOL_TAG_BLOCK | CHAFA_SYMBOL_TAG_BORDER | CHAFA_SYMBOL_TAG_SPACE;
    chafa_symbol_map_add_by_tags(symbols.get(), static_cast<ChafaSymbolTags>(tags));
    const Owned<ChafaCanvasConfig> config(chafa_canvas_config_new());
    chafa_canvas_config_set_geometry(config.get(), columns, rows);
    chafa_canvas_config_set_cell_geometry(config.get(), CELL_WIDTH, CELL_HEIGHT);
    chafa_canvas_config_set_pixel_mode(config.get(), pixels);
    // The modes that send pixels always use true colour; without colours pixels could not be told apart.
    chafa_canvas_config_set_canvas_mode(config.get(), pixels == CHAFA_PIXEL_MODE_SYMBOLS ? colours : CHAFA_CANVAS_MODE_TRUECOLOR);
    chafa_canvas_config_set_symbol_map(config.get(), symbols.get());

    const Owned<ChafaCanvas> canvas(chafa_canvas_new(config.get()));
    chafa_canvas_draw_all_pixels(canvas.get(), CHAFA_PIXEL_RGBA8_UNASSOCIATED, picture.pixels.data(), picture.width, picture.height,
                                 picture.width * 4);
    const Owned<GString> text(chafa_canvas_print(canvas.get(), terminal.get()));
    std::string drawn(text->str, text->len);
    while (!drawn.empty() && drawn.back() == '\n')
        drawn.pop_back();
    return drawn;
}

} // namespace kinloom
