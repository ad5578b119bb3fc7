// SPDX-License-Identifier: MIT
#include "store/SchemaSteps.h"

#include <algorithm>
#include <stdexcept>
#include <string>

namespace kinloomd {

int versionOf(const SchemaSteps& steps) { return static_cast<int>(steps.size()); }

Layout layoutBehind(const SchemaSteps& steps)
{
    Layout layout{versionOf(steps), 0};
    for (const SchemaStep& step : steps)
        layout.least = std::max(layout.least, step.least);
    return layout;
}

void requireUnderstood(const Layout& layout, const SchemaSteps& steps)
{
    if (layout.version > versionOf(steps) && layout.least > versionOf(steps))
        throw std::runtime_error("the database was brought to layout " + std::to_string(layout.version) +
                                 " by a newer kinloomd, and only those that know layout " + std::to_string(layout.least) +
                                 " understand it; this one knows layout " + std::to_string(versionOf(steps)));
}

} // namespace kinloomd
