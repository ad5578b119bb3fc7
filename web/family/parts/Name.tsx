// SPDX-License-Identifier: MIT
import { cleanLine } from '../../common/plainText';

/** A name that somebody gave: as text, with a direction of its own. */
export function Name({ of }: { of: string }) {
  return <bdi>{cleanLine(of)}</bdi>;
}
