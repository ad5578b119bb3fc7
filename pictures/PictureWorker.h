// SPDX-License-Identifier: MIT
/// \file The inside of a picture process.
#ifndef KINLOOM_PICTURES_PICTUREWORKER_H
#define KINLOOM_PICTURES_PICTUREWORKER_H

namespace pictures {

/// Carries out orders that come through PICTURE_SOCKET, confined, until it is closed. \return the exit code of the process.
int runPictureWorker();

} // namespace pictures

#endif
