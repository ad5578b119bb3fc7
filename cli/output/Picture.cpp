// SPDX-License-Identifier: MIT
#include "output/Picture.h"

#include "core/Errors.h"
#include "core/Text.h"

#include <algorithm>
#include <chafa.h>
#include <memory>
#include <vips/vips.h>

namespace kinloom {

namespace {

/// Pixels of a cell where the terminal does not tell.
constexpr int CELL_WIDTH = 10;
constexpr int CELL_HEIGHT = 20;

struct Unref {
    void operator()(VipsImage* image) const { g_object_unref(image); }
    void operator()(ChafaTermInfo* info) const { chafa_term_info_unref(info); }
    void operator()(ChafaSymbolMap* map) const { chafa_symbol_map_unref(map); }
    void operator()(ChafaCanvasConfig* config) const { chafa_canvas_config_unref(config); }
    void operator()(ChafaCanvas* canvas) const { chafa_canvas_unref(canvas); }
    void operator()(GString* text) const { g_string_free(text, TRUE); }
    void operator()(void* memory) const { g_free(memory); }
};
template <class T> using Owned = std::unique_ptr<T, Unref>;

void startVips()
{
    static const bool started = [] {
        if (VIPS_INIT("kinloom") != 0)
            return false;
        // Pictures come from other people. Only those of the library's readers stay enabled that are safe with hostile files.
        vips_block_untrusted_set(TRUE);
        vips_concurrency_set(1);
        return true;
    }();
    if (!started)
        throw Failure(Exit::FAILED, "pictures cannot be read on this computer");
}

[[noreturn]] void refuse(const std::string& path)
{
    std::string why = vips_error_buffer();
    vips_error_clear();
    while (!why.empty() && why.back() == '\n')
        why.pop_back();
    throw Failure(Exit::FAILED, path + ": is no picture that can be read: " + neutralised(why));
}

/// Runs an operation of vips that makes an image from an image.
template <class Operation> Owned<VipsImage> derived(const std::string& path, const Operation& operation)
{
    VipsImage* result = nullptr;
    if (operation(&result) != 0)
        refuse(path);
    return Owned<VipsImage>(result);
}

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
        text += RAMP[static_cast<std::size_t>((cells[i] - *darkest) / range * (RAMP.size() - 1) + 0.5)];
        if ((i + 1) % static_cast<std::size_t>(columns) == 0 && i + 1 < cells.size())
            text += '\n';
    }
    return text;
}

} // namespace

Picture readPicture(const std::string& path, int most)
{
    startVips();
    const auto sized = derived(path, [&](VipsImage** out) {
        return vips_thumbnail(path.c_str(), out, most, "height", most, "size", VIPS_SIZE_DOWN, "fail_on", VIPS_FAIL_ON_TRUNCATED,
                              NULL);
    });
    const auto coloured =
        derived(path, [&](VipsImage** out) { return vips_colourspace(sized.get(), out, VIPS_INTERPRETATION_sRGB, NULL); });
    const auto bytes = derived(path, [&](VipsImage** out) { return vips_cast_uchar(coloured.get(), out, NULL); });
    const auto image = derived(path, [&](VipsImage** out) {
        return vips_image_hasalpha(bytes.get()) ? vips_copy(bytes.get(), out, NULL) : vips_addalpha(bytes.get(), out, NULL);
    });
    std::size_t size = 0;
    const Owned<void> memory(vips_image_write_to_memory(image.get(), &size));
    Picture picture;
    picture.width = vips_image_get_width(image.get());
    picture.height = vips_image_get_height(image.get());
    if (!memory || vips_image_get_bands(image.get()) != 4 ||
        size != static_cast<std::size_t>(picture.width) * static_cast<std::size_t>(picture.height) * 4)
        refuse(path);
    const auto* const first = static_cast<const std::uint8_t*>(memory.get());
    picture.pixels.assign(first, first + size);
    return picture;
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
