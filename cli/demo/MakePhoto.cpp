// SPDX-License-Identifier: MIT
// Makes photographs for the demonstration and the tests: evening landscapes, each different, in any size and any of the positions
// in which a camera may be held.
#include "commandline/Command.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <optional>
#include <random>
#include <string>
#include <vector>
#include <vips/vips.h>

namespace {

struct Options {
    std::string file;
    int width = 1600;
    int height = 1200;
    unsigned int seed = 1;
    int orientation = 1;
    std::string taken;
};

using Colour = std::array<double, 3>;

Colour mixed(const Colour& a, const Colour& b, double share)
{
    share = std::clamp(share, 0.0, 1.0);
    return {a[0] + (b[0] - a[0]) * share, a[1] + (b[1] - a[1]) * share, a[2] + (b[2] - a[2]) * share};
}

/// A ridge of hills: a sum of waves, with its crest at a height between 0 (bottom) and 1 (top).
class Ridge {
public:
    Ridge(std::mt19937& random, double base, double range) : m_base(base), m_range(range)
    {
        std::uniform_real_distribution<double> phase(0, 6.283);
        for (double& value : m_phases)
            value = phase(random);
    }

    double crestAt(double x) const
    {
        double sum = 0;
        double weight = 1;
        double frequency = 3;
        for (const double phase : m_phases) {
            sum += weight * std::sin(x * frequency + phase);
            weight *= 0.5;
            frequency *= 2.3;
        }
        return m_base + m_range * sum * 0.5;
    }

private:
    double m_base;
    double m_range;
    std::array<double, 6> m_phases{};
};

/// An evening over hills and a lake.
class Landscape {
public:
    explicit Landscape(unsigned int seed)
        : m_random(seed), m_far(m_random, 0.52, 0.10), m_middle(m_random, 0.44, 0.07), m_near(m_random, 0.20, 0.06)
    {
        std::uniform_real_distribution<double> unit(0, 1);
        m_sunX = 0.2 + 0.6 * unit(m_random);
        m_sunY = 0.60 + 0.2 * unit(m_random);
        const double warmth = unit(m_random);
        m_horizon = mixed({255, 196, 120}, {255, 150, 140}, warmth);
        m_zenith = mixed({52, 92, 168}, {70, 60, 130}, warmth);
    }

    /// The colour at a place; x to the right, y upwards, both from 0 to 1.
    Colour at(double x, double y) const
    {
        constexpr double LAKE = 0.34;
        if (y < m_near.crestAt(x))
            return mixed({24, 40, 26}, {52, 74, 40}, y / 0.25);
        if (y < LAKE) {
            // The lake mirrors what is above it, darker and blurred by waves.
            const double wave = 0.006 * std::sin(y * 420 + 9 * std::sin(x * 31));
            return mixed(land(x + wave, LAKE + (LAKE - y) * 1.4), {20, 40, 70}, 0.35);
        }
        return land(x, y);
    }

private:
    Colour land(double x, double y) const
    {
        if (y < m_middle.crestAt(x))
            return mixed({46, 70, 64}, {70, 96, 84}, y);
        if (y < m_far.crestAt(x))
            return mixed({92, 108, 130}, {120, 128, 150}, y);
        Colour sky = mixed(m_horizon, m_zenith, (y - 0.45) / 0.5);
        const double distance = std::hypot((x - m_sunX) * 1.4, y - m_sunY);
        sky = mixed({255, 236, 180}, sky, std::sqrt(distance) * 1.5);
        return distance < 0.045 ? Colour{255, 250, 225} : sky;
    }

    std::mt19937 m_random;
    Ridge m_far;
    Ridge m_middle;
    Ridge m_near;
    double m_sunX = 0.5;
    double m_sunY = 0.7;
    Colour m_horizon{};
    Colour m_zenith{};
};

std::vector<std::uint8_t> paint(int width, int height, unsigned int seed)
{
    const Landscape landscape(seed);
    std::minstd_rand grain(seed);
    std::vector<std::uint8_t> pixels(static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * 3);
    auto pixel = pixels.begin();
    for (int row = 0; row < height; ++row) {
        for (int column = 0; column < width; ++column) {
            const Colour colour = landscape.at((column + 0.5) / width, 1 - (row + 0.5) / height);
            const double noise = static_cast<double>(grain() % 13) - 6;
            for (const double part : colour)
                *pixel++ = static_cast<std::uint8_t>(std::clamp(part + noise, 0.0, 255.0));
        }
    }
    return pixels;
}

/// How the picture lies in the file, so that a reader that honours the orientation shows it upright.
VipsAngle storedAngle(int orientation)
{
    switch (orientation) {
    case 3:
        return VIPS_ANGLE_D180;
    case 6:
        return VIPS_ANGLE_D270;
    case 8:
        return VIPS_ANGLE_D90;
    default:
        return VIPS_ANGLE_D0;
    }
}

bool write(const Options& options)
{
    const std::vector<std::uint8_t> pixels = paint(options.width, options.height, options.seed);
    VipsImage* upright =
        vips_image_new_from_memory(pixels.data(), pixels.size(), options.width, options.height, 3, VIPS_FORMAT_UCHAR);
    VipsImage* stored = nullptr;
    bool written = false;
    if (upright != nullptr && vips_rot(upright, &stored, storedAngle(options.orientation), NULL) == 0) {
        vips_image_set_int(stored, "orientation", options.orientation);
        if (!options.taken.empty())
            vips_image_set_string(stored, "exif-ifd2-DateTimeOriginal", options.taken.c_str());
        // PNG files are left uncompressed: that is how the large ones become large.
        const bool png = options.file.size() > 4 && options.file.compare(options.file.size() - 4, 4, ".png") == 0;
        const std::string target = options.file + (png ? "[compression=0]" : "[Q=88]");
        written = vips_image_write_to_file(stored, target.c_str(), NULL) == 0;
    }
    if (stored != nullptr)
        g_object_unref(stored);
    if (upright != nullptr)
        g_object_unref(upright);
    return written;
}

} // namespace

int main(int argc, char** argv)
{
    Options options;
    commandline::Program program("Makes a photograph of a landscape", argv[0]);
    program.option("FILE", options.file, "Where it goes; .jpg, .png or .webp").required();
    program.option("--width", options.width, "Pixels").within(16, 20'000, commandline::Shown::YES);
    program.option("--height", options.height, "Pixels").within(16, 20'000, commandline::Shown::YES);
    program.option("--seed", options.seed, "Each number makes another landscape");
    program.option("--orientation", options.orientation, "How the camera was held, as EXIF numbers it").among({1, 3, 6, 8});
    program.option("--taken", options.taken, "When, as EXIF writes it: '2024:07:14 18:30:05'");
    if (const std::optional<int> status = program.readOrExplain(argc, argv))
        return *status;
    if (VIPS_INIT(argv[0]) != 0 || !write(options)) {
        std::fprintf(stderr, "%s: %s\n", argv[0], vips_error_buffer());
        return 1;
    }
    return 0;
}
