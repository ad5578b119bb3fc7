// SPDX-License-Identifier: MIT
// One name asked for, in a window: what was typed is kept until it has been taken.
import { useState } from 'preact/hooks';
import { draftOf, keepDraft } from '../core/drafts';
import { reason } from '../core/language';

const LONGEST = 200;

interface Props {
  /** What the text is kept under. */
  draft: string;
  label: string;
  hint: string;
  action: string;
  /** Throws a Failure, whose sentence is shown. */
  onName: (name: string) => Promise<void>;
}

export function NameForm({ draft, label, hint, action, onName }: Props) {
  const [name, setName] = useState(draftOf(draft));
  const [failure, setFailure] = useState('');
  const [asking, setAsking] = useState(false);
  const keep = (text: string): void => {
    setName(text);
    keepDraft(draft, text);
  };
  const submit = async (event: Event): Promise<void> => {
    event.preventDefault();
    if (name.trim() === '' || asking) return;
    setAsking(true);
    setFailure('');
    try {
      await onName(name.trim());
      keepDraft(draft, '');
    } catch (error) {
      setFailure(reason(error));
      setAsking(false);
    }
  };
  return (
    <form onSubmit={(event) => void submit(event)}>
      <label>
        {label}
        <input
          class="field"
          type="text"
          data-first
          autocomplete="off"
          maxLength={LONGEST}
          dir="auto"
          value={name}
          aria-describedby="name-hint"
          onInput={(event) => keep(event.currentTarget.value)}
        />
      </label>
      <p class="faint" id="name-hint">
        {hint}
      </p>
      {failure !== '' && (
        <p class="field-failure" role="alert">
          {failure}
        </p>
      )}
      <div class="dialog-actions">
        <button type="submit" class="button strong" aria-disabled={asking || name.trim() === ''}>
          {action}
        </button>
      </div>
    </form>
  );
}
