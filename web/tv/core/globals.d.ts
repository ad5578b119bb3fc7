// SPDX-License-Identifier: MIT
/** What the bundler puts in: the version of the page as it was built. */
declare const PAGE_VERSION: string;
