// SPDX-License-Identifier: MIT
// Line drawings of 24 by 24. They say nothing that words beside them do not say.

const PATHS = {
  back: 'M15 5l-7 7 7 7',
  forward: 'M9 5l7 7-7 7',
  play: 'M7 4.5v15l12-7.5z',
  pause: 'M8 5v14M16 5v14',
  comment: 'M5 5h14a1 1 0 0 1 1 1v9a1 1 0 0 1-1 1h-8l-4 4v-4H5a1 1 0 0 1-1-1V6a1 1 0 0 1 1-1z',
  mark: 'M12 20s-7.5-4.6-7.5-10A4.2 4.2 0 0 1 12 7.4 4.2 4.2 0 0 1 19.500 10C19.500 15.400 12 20 12 20z',
  hide: 'M4 4l16 16M9.500 6.300A9.600 9.600 0 0 1 12 6c6 0 9 6 9 6a15 15 0 0 1-2.600 3.300M6.500 7.900A15 15 0 0 0 3 12s3 6 9 6a9 9 0 0 0 3.500-.7',
  keys: 'M8 3h8a2 2 0 0 1 2 2v14a2 2 0 0 1-2 2H8a2 2 0 0 1-2-2V5a2 2 0 0 1 2-2zM10 15h.01M14 15h.01M10 18h.01M14 18h.01M12 6.500v4M10 8.500h4',
  settings: 'M4 7h9M17 7h3M4 17h3M11 17h9M15 5v4M9 15v4',
  day: 'M5 6h14v14H5zM5 10h14M9 4v3M15 4v3M12 13v4',
  groups: 'M4 5h7v6H4zM13 5h7v6h-7zM4 13h7v6H4zM13 13h7v6h-7z',
  guests: 'M4 4h6v6H4zM14 4h6v6h-6zM4 14h6v6H4zM14 14h2v2h-2zM18 18h2v2h-2zM18 14h2M14 18v2',
  picture: 'M5 4h14a1 1 0 0 1 1 1v14a1 1 0 0 1-1 1H5a1 1 0 0 1-1-1V5a1 1 0 0 1 1-1zM4 17l5-5 4 4 3-3 4 4M15.500 9.500h.01',
  warning: 'M12 4l9 16H3zM12 10v5M12 17.500v.01',
  away: 'M5 12a10 10 0 0 1 4-2.600M15 9.400a10 10 0 0 1 4 2.600M8.500 15.500a5 5 0 0 1 7 0M12 19h.01M4 4l16 16',
  check: 'M5 12.500l5 5 9-11',
  night: 'M19 14.500A7.500 7.500 0 0 1 9.500 5a7.500 7.500 0 1 0 9.500 9.500z',
  send: 'M4 12l16-7-6 15-3-6z',
} as const;

export type IconName = keyof typeof PATHS;

export function Icon({ name, full = false }: { name: IconName; full?: boolean }) {
  return (
    <svg class="icon" viewBox="0 0 24 24" width="24" height="24" aria-hidden="true" focusable="false">
      <path d={PATHS[name]} fill={full ? 'currentColor' : 'none'} stroke="currentColor" stroke-width="2" stroke-linecap="round" stroke-linejoin="round" />
    </svg>
  );
}
