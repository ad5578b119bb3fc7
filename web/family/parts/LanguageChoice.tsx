// SPDX-License-Identifier: MIT
import { changeLanguage, language, LANGUAGES, nameOfLanguage } from '../core/language';

/** Each language under its own name: who cannot read the page can read that. */
export function LanguageChoice() {
  return (
    <div class="languages" role="group" aria-label="Language · Sprache">
      {LANGUAGES.map((code) => (
        <button type="button" key={code} lang={code} class="button plain" aria-pressed={code === language} onClick={() => changeLanguage(code)}>
          {nameOfLanguage(code)}
        </button>
      ))}
    </div>
  );
}
