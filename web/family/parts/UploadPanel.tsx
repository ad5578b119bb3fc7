// SPDX-License-Identifier: MIT
// How far the photos are that are being added. It stays while one goes from view to view.
import { useEffect, useRef } from 'preact/hooks';
import { useSignal } from '../../common/signal';
import { isolated } from '../../common/plainText';
import { reason, t } from '../core/language';
import { uploader } from '../core/uploadMeans';
import { Icon } from './Icon';

/** Refused files that are named; the others are counted. */
const MOST_NAMED = 6;

function Refused() {
  const refused = uploader.items.filter((item) => item.state === 'refused');
  if (refused.length === 0) return null;
  return (
    <div class="upload-refused" role="alert">
      <p>{t('uploadsRefused', { count: refused.length })}</p>
      <ul>
        {refused.slice(0, MOST_NAMED).map((item) => (
          <li key={item.id}>{t('fileRefused', { name: isolated(item.file.name), reason: reason(item.word) })}</li>
        ))}
        {refused.length > MOST_NAMED && <li>{t('moreRefused', { count: refused.length - MOST_NAMED })}</li>}
      </ul>
    </div>
  );
}

function outcome(): string {
  const { done, known } = uploader.summary();
  const added = done > 0 ? t('uploadsDone', { count: done }) : t('uploadsNone');
  return known > 0 ? `${added}, ${t('uploadsKnown', { count: known })}.` : `${added}.`;
}

export function UploadPanel() {
  useSignal(uploader.changed);
  const panel = useRef<HTMLElement>(null);
  // What else floats above the window's lower edge makes room.
  useEffect(() => {
    document.documentElement.style.setProperty('--uploads', `${panel.current?.offsetHeight ?? 0}px`);
  });
  const { files, done, known, refused, bytes, sentBytes } = uploader.summary();
  if (files === 0) return null;
  const { busy, halted, paused } = uploader;
  const ended = done + known + refused;
  const percent = bytes === 0 ? 100 : Math.floor((sentBytes / bytes) * 100);
  return (
    <section class="uploads" ref={panel} aria-labelledby="uploads-heading">
      <div class="uploads-head">
        <h2 id="uploads-heading">{t('uploads')}</h2>
        {busy && <span class="faint">{t('uploadProgress', { done: ended, count: files })}</span>}
        {!busy && (
          <button type="button" class="button plain square" aria-label={t('close')} onClick={() => uploader.clear()}>
            <Icon name="close" />
          </button>
        )}
      </div>
      {busy && (
        <progress aria-labelledby="uploads-heading" max={100} value={percent}>
          {percent} %
        </progress>
      )}
      <p aria-live="polite">
        {!busy && outcome()}
        {busy && halted !== '' && t('uploadsHalted', { reason: reason(halted) })}
        {busy && halted === '' && paused && t('uploadsPaused')}
        {busy && halted === '' && !paused && t('uploadsHint')}
      </p>
      <Refused />
      {(busy || halted !== '') && (
        <div class="uploads-actions">
          <button type="button" class="button plain" onClick={() => uploader.cancel()}>
            {t('cancel')}
          </button>
          {(halted !== '' || paused) && (
            <button type="button" class="button strong" onClick={() => (halted === '' ? uploader.wake() : uploader.again())}>
              {t('tryAgain')}
            </button>
          )}
        </div>
      )}
    </section>
  );
}
