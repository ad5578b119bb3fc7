// SPDX-License-Identifier: MIT
// A question with a few answers; the first one has the focus.
import { Button } from './Small';
import { Window } from './Window';

interface Props {
  readonly question: string;
  readonly hint?: string;
  readonly answers: ReadonlyArray<readonly [name: string, then: () => void]>;
  readonly onClose: () => void;
}

export function Ask({ question, hint, answers, onClose }: Props) {
  return (
    <Window name={question} onClose={onClose}>
      <h2>{question}</h2>
      {hint !== undefined && <p>{hint}</p>}
      <div data-row="" class="row">
        {answers.map(([name, then], at) => (
          <Button key={name} name={name} first={at === 0} onPress={then} />
        ))}
      </div>
    </Window>
  );
}
