// SPDX-License-Identifier: MIT
// The bar above a view: where Back leads, what the view is, and what can be done with the whole of it.
import type { ComponentChildren } from 'preact';
import { t } from '../core/language';
import { Heading } from './Heading';
import { Icon } from './Icon';

interface Props {
  title: string;
  heading: ComponentChildren;
  back?: { path: string; name: string };
  quiet?: boolean;
  children?: ComponentChildren;
}

export function Bar({ title, heading, back, quiet, children }: Props) {
  return (
    <header class="bar">
      {back && (
        <a class="button plain square" href={back.path} data-back aria-label={back.name} title={back.name}>
          <Icon name="back" />
        </a>
      )}
      <Heading title={`${title} · ${t('title')}`} quiet={quiet} class="bar-title">
        {heading}
      </Heading>
      {children && <div class="bar-tools">{children}</div>}
    </header>
  );
}
