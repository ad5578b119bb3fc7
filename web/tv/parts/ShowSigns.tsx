// SPDX-License-Identifier: MIT
// What stands over the show's pictures: captions, the clock, the guests' code. All of it wanders.
import { useSignal } from '../../common/signal';
import { drift, inward } from '../core/drift';
import { nameOf } from '../core/groups';
import { taken, t } from '../core/language';
import type { Guests, Item } from '../core/records';
import { Clock, Name, Qr } from './Small';

/** A corner of the screen that others take over in turn. */
export function Corner({ of, children }: { of: number; children: preact.ComponentChildren }) {
  const now = useSignal(drift);
  const corner = (now.corner + of) % 4;
  return (
    <div class={`corner corner-${corner}`} style={{ transform: inward(now, corner, 1.6) }}>
      {children}
    </div>
  );
}

function CaptionOf({ item, isNew, tells }: { item: Item; isNew: boolean; tells: boolean }) {
  const name = item.creator?.name ?? '';
  return (
    <div class="show-caption">
      {isNew && <p class="news">{name === '' ? t('newPhotoPlain') : t('newPhoto', { name })}</p>}
      {item.description.trim() !== '' && (
        <p class="lead">
          <Name of={item.description} />
        </p>
      )}
      <p>
        <time>{taken(item)}</time>
      </p>
      {tells && (
        <p class="faint">
          {name !== '' && <span>{t('by', { name })} · </span>}
          <Name of={nameOf(item.group)} />
        </p>
      )}
    </div>
  );
}

export function Captions({ items, news, tells }: { items: readonly Item[]; news: ReadonlySet<string>; tells: boolean }) {
  return (
    <div class="captions">
      {items.map((item) => (
        <CaptionOf key={item.id} item={item} isNew={news.has(item.id)} tells={tells} />
      ))}
    </div>
  );
}

const ON_SCREEN = 3;

/** How guests add photos, and what of theirs is on its way. */
export function GuestsSign({ guests }: { guests: Guests }) {
  const moving = guests.transfers.filter((one) => one.state !== 'done' && one.state !== 'failed').slice(0, ON_SCREEN);
  return (
    <section class="guests" aria-label={t('guestsTitle')}>
      {guests.qr !== null && <Qr code={guests.qr} name={t('pairQr')} />}
      <div>
        <p class="lead">{t('guestsTitle')}</p>
        <p>{t('guestsHint')}</p>
        <p class="faint">{t('guestsLeft', { count: guests.left.count })}</p>
        {moving.map((one) => (
          <div key={one.id} class="transfer" role="progressbar" aria-label={t('guestSending', { name: one.name })} aria-valuenow={Math.round((one.sent * 100) / Math.max(1, one.size))} aria-valuemin={0} aria-valuemax={100}>
            <i style={{ transform: `scaleX(${Math.min(1, one.sent / Math.max(1, one.size)).toFixed(3)})` }} />
          </div>
        ))}
      </div>
    </section>
  );
}

/** The screen by night: next to nothing, and that wanders. */
export function NightSign() {
  const { across, down } = useSignal(drift);
  return (
    <div class="night" style={{ transform: `translate3d(${(across * 16).toFixed(2)}rem, ${(down * 10).toFixed(2)}rem, 0)` }}>
      <Clock />
      <p class="faint">{t('nightHint')}</p>
    </div>
  );
}
