// SPDX-License-Identifier: MIT
// A program that decodes pictures for another one, confined. Programs that are not to carry the library that decodes start it.
#include "pictures/PictureOrder.h"
#include "pictures/PictureWorker.h"

#include <cstdio>
#include <string_view>

int main(int argc, char** argv)
{
    if (argc == 2 && std::string_view(argv[1]) == pictures::PICTURE_WORD)
        return pictures::runPictureWorker();
    std::fprintf(stderr, "kinloom-pictures: other programs start this one\n");
    return 2;
}
