// SPDX-License-Identifier: MIT
// All keys, under one key.
import { type Key, t } from '../core/language';
import { Button } from './Small';
import { Window } from './Window';

const LINES: ReadonlyArray<readonly [key: Key, does: Key, colour?: string]> = [
  ['keyArrows', 'doesArrows'],
  ['keyOk', 'doesOk'],
  ['keyBack', 'doesBack'],
  ['keyPlay', 'doesPlay'],
  ['keyInfo', 'doesInfo'],
  ['keyChannel', 'doesChannel'],
  ['keyRed', 'doesRed', 'red'],
  ['keyGreen', 'doesGreen', 'green'],
  ['keyYellow', 'doesYellow', 'yellow'],
  ['keyBlue', 'doesBlue', 'blue'],
  ['keyZero', 'doesZero'],
];

export function KeysWindow({ onClose }: { onClose: () => void }) {
  const onPress = ({ action }: { action: string }): boolean => {
    if (action !== 'keys' && action !== 'info') return false;
    onClose();
    return true;
  };
  return (
    <Window name={t('keys')} onClose={onClose} onPress={onPress}>
      <h2>{t('keys')}</h2>
      <dl class="keys">
        {LINES.map(([key, does, colour]) => (
          <div key={key}>
            <dt>
              {colour !== undefined && <i class={`dot ${colour}`} aria-hidden="true" />}
              {t(key)}
            </dt>
            <dd>{t(does)}</dd>
          </div>
        ))}
      </dl>
      <div data-row="" class="row">
        <Button name={t('close')} onPress={onClose} first />
      </div>
    </Window>
  );
}
