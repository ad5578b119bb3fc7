// SPDX-License-Identifier: MIT
// The browser that the pages are tested, measured and pictured in.

/** Its program: where Debian has it, unless CHROMIUM in the environment says otherwise. */
export const PROGRAM = process.env.CHROMIUM ?? '/usr/bin/chromium';

export const SWITCHES = ['--no-sandbox', '--disable-gpu', '--disable-quic', '--no-first-run', '--disable-background-networking', '--disable-component-update', '--disable-sync'];
