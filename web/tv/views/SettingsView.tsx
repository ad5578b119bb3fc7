// SPDX-License-Identifier: MIT
// What can be set, line by line: left and right change, OK changes onwards.
import { useState } from 'preact/hooks';
import { useSignal } from '../../common/signal';
import * as api from '../core/api';
import { act, usePresses } from '../core/input';
import { LANGUAGES, nameOfLanguage, t } from '../core/language';
import { laterBy } from '../core/nightHours';
import { failed } from '../core/notices';
import type { Settings } from '../core/records';
import { go } from '../core/router';
import { change, readState, settings } from '../core/state';
import { Ask } from '../parts/Ask';
import { Button, Drifting, useBeginning } from '../parts/Small';

const SECONDS = [3, 5, 8, 12, 20, 30, 60, 120, 300];
const IDLE = [0, 1, 2, 5, 10, 20, 30, 60];
const ORDERS = ['shuffle', 'time'] as const;
const HALF_HOUR = 30;
const USUAL_NIGHT = { from: '22:00', to: '07:00' };

interface Line {
  readonly name: string;
  readonly value: string;
  readonly isOn?: boolean;
  /** What it is after so many steps on, or back. */
  readonly step: (by: 1 | -1) => Partial<Settings>;
}

/** The next of the choices, round and round; the nearest one where the value is none of them. */
function turned<T>(choices: readonly T[], value: T, by: number): T {
  const at = choices.indexOf(value);
  if (at >= 0) return choices[(at + by + choices.length) % choices.length] as T;
  const above = choices.findIndex((one) => one > value);
  const next = by > 0 ? above : above - 1;
  return choices[next < 0 ? choices.length - 1 : next] as T;
}

const onOff = (name: string, isOn: boolean, part: (on: boolean) => Partial<Settings>): Line => ({ name, value: t(isOn ? 'on' : 'off'), isOn, step: () => part(!isOn) });

function linesOf(now: Settings): Line[] {
  const { night } = now;
  const hours = (name: string, which: 'from' | 'to'): Line => ({
    name,
    value: night?.[which] ?? '',
    step: (by) => ({ night: { ...(night ?? USUAL_NIGHT), [which]: laterBy((night ?? USUAL_NIGHT)[which], by * HALF_HOUR) } }),
  });
  return [
    { name: t('settingSeconds'), value: t('secondsValue', { count: now.seconds }), step: (by) => ({ seconds: turned(SECONDS, now.seconds, by) }) },
    { name: t('settingOrder'), value: t(now.order === 'time' ? 'inOrder' : 'shuffled'), step: (by) => ({ order: turned(ORDERS, now.order, by) }) },
    { name: t('settingIdle'), value: now.idle_minutes === 0 ? t('never') : t('minutesValue', { count: now.idle_minutes }), step: (by) => ({ idle_minutes: turned(IDLE, now.idle_minutes, by) }) },
    onOff(t('settingNight'), night !== null, (on) => ({ night: on ? USUAL_NIGHT : null })),
    ...(night === null ? [] : [hours(t('settingNightFrom'), 'from'), hours(t('settingNightTo'), 'to')]),
    onOff(t('settingMotion'), now.motion, (motion) => ({ motion })),
    onOff(t('settingPairs'), now.pairs, (pairs) => ({ pairs })),
    onOff(t('settingClock'), now.clock, (clock) => ({ clock })),
    onOff(t('settingCaption'), now.caption, (caption) => ({ caption })),
    { name: t('settingLanguage'), value: nameOfLanguage(now.language), step: (by) => ({ language: turned(['auto', ...LANGUAGES], now.language, by) }) },
  ];
}

function SettingLine({ line, onStep, first }: { line: Line; onStep: (by: 1 | -1) => void; first: boolean }) {
  // Of a value that is no number the screen readers are told by its text.
  const what = line.isOn === undefined ? { role: 'spinbutton' as const, 'aria-valuetext': line.value, 'aria-valuenow': 0 } : { role: 'switch' as const, 'aria-checked': line.isOn };
  return (
    <li data-row="">
      <div class="setting" tabIndex={-1} aria-label={line.name} data-first={first ? '' : undefined} data-setting={line.name} onClick={() => onStep(1)} {...what}>
        <span class="setting-name" aria-hidden="true">
          {line.name}
        </span>
        <span class={`setting-value${line.isOn === true ? ' is-on' : ''}`} aria-hidden="true">
          <i class="less" onClick={(event) => (event.stopPropagation(), onStep(-1))} />
          {line.value}
          <i class="more" />
        </span>
      </div>
    </li>
  );
}

export function SettingsView() {
  const now = useSignal(settings);
  const [asking, setAsking] = useState(false);
  useBeginning(t('settings'));
  const lines = linesOf(now);
  const step = (line: Line, by: 1 | -1): void => {
    change(line.step(by)).catch(failed);
  };
  usePresses(({ action }) => {
    if (action !== 'left' && action !== 'right') return false;
    const name = (document.activeElement as HTMLElement | null)?.dataset.setting;
    const line = lines.find((one) => one.name === name);
    if (line === undefined) return false;
    step(line, action === 'right' ? 1 : -1);
    return true;
  });
  const forget = async (): Promise<void> => {
    setAsking(false);
    try {
      await api.forget();
      await readState();
      go('#/pair', true);
    } catch (error) {
      failed(error);
    }
  };
  return (
    <main class="view settings">
      <Drifting reach={0.5}>
        <header class="head">
          <h1>{t('settings')}</h1>
          <p />
          <div class="bar" data-row="">
            <Button name={t('hidden')} icon="hide" onPress={() => go('#/hidden')} />
            <Button name={t('forget')} onPress={() => setAsking(true)} />
            <Button name={t('groups')} icon="groups" onPress={() => act('back')} />
            <Button name={t('keys')} icon="keys" onPress={() => act('keys')} />
          </div>
        </header>
        <ul class="lines" aria-label={t('settings')}>
          {lines.map((line, at) => (
            <SettingLine key={line.name} line={line} first={at === 0} onStep={(by) => step(line, by)} />
          ))}
        </ul>
      </Drifting>
      {asking && (
        <Ask
          question={t('forgetQuestion')}
          hint={t('forgetHint')}
          onClose={() => setAsking(false)}
          answers={[
            [t('cancel'), () => setAsking(false)],
            [t('forget'), () => void forget()],
          ]}
        />
      )}
    </main>
  );
}
