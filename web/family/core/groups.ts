// SPDX-License-Identifier: MIT
// The groups of the person who is signed in, as last heard of.
import { Failure } from '../../common/http';
import { InOrder } from '../../common/inOrder';
import { Signal } from '../../common/signal';
import * as api from './api';
import { onLive } from './live';
import type { Group } from './records';

export interface Groups {
  readonly list: readonly Group[] | null;
  readonly failure: Failure | null;
}

export const groups = new Signal<Groups>({ list: null, failure: null });

let timer = 0;
const reads = new InOrder();

export async function readGroups(): Promise<void> {
  const isNewer = reads.ask();
  try {
    const { groups: list } = await api.groups();
    if (isNewer()) groups.value = { list, failure: null };
  } catch (error) {
    if (!(error instanceof Failure)) throw error;
    if (isNewer()) groups.value = { list: groups.value.list, failure: error };
  }
}

export const groupById = (id: string): Group | undefined => groups.value.list?.find((group) => group.id === id);

onLive(() => {
  // What happens while they are read for the first time may be missing in the answer.
  if (!reads.hasBegun || timer !== 0) return;
  timer = window.setTimeout(() => {
    timer = 0;
    void readGroups();
  }, 1000);
});
