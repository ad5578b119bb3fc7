// SPDX-License-Identifier: MIT
// Views that only say something.
import { anyDraft } from '../core/drafts';
import { t } from '../core/language';
import { LanguageChoice } from '../parts/LanguageChoice';
import { Empty } from '../parts/Empty';
import { Heading } from '../parts/Heading';

export function SignedOutView() {
  return (
    <main class="card-view" id="main" tabIndex={-1}>
      <div class="card">
        <Heading title={t('title')}>{t('signedOut')}</Heading>
        <p class="lead">{t('signedOutHint')}</p>
        <p>{t('signedOutSteps')}</p>
        <p class="faint">{t('signedOutAgain')}</p>
        {anyDraft() && <p class="faint">{t('signedOutDraft')}</p>}
        <LanguageChoice />
      </div>
    </main>
  );
}

export function UnknownView() {
  return (
    <main class="card-view" id="main" tabIndex={-1}>
      <div class="card">
        <Heading title={t('unknownTitle')}>{t('unknownTitle')}</Heading>
        <p>{t('unknownHint')}</p>
        <a class="button strong" href="/">
          {t('groups')}
        </a>
      </div>
    </main>
  );
}

/** A group or photo that is not there, or not for this person. */
export function NotThere({ back, name }: { back: string; name: string }) {
  return (
    <Empty icon="picture" title={t('unknownTitle')} hint={t('unknownHint')}>
      <a class="button" href={back}>
        {name}
      </a>
    </Empty>
  );
}
