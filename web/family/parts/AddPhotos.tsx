// SPDX-License-Identifier: MIT
// Photos chosen from the telephone, or dropped onto the window.
import { useEffect, useRef, useState } from 'preact/hooks';
import { t } from '../core/language';
import { uploader } from '../core/uploadMeans';
import { Icon } from './Icon';

// Naming HEIC has telephones hand out their originals; where a system does not know the type, it knows the ending.
const ACCEPTED = 'image/jpeg,image/png,image/webp,image/gif,image/heic,image/heif,.jpg,.jpeg,.png,.webp,.gif,.heic,.heif,.hif';

const hasFiles = (event: DragEvent): boolean => event.dataTransfer?.types.includes('Files') === true;

export function AddPhotos({ group, floating = false }: { group: string; floating?: boolean }) {
  const input = useRef<HTMLInputElement>(null);
  const [over, setOver] = useState(false);

  useEffect(() => {
    const onOver = (event: DragEvent): void => {
      if (!hasFiles(event)) return;
      event.preventDefault();
      setOver(true);
    };
    const onLeave = (event: DragEvent): void => {
      if (event.relatedTarget === null) setOver(false);
    };
    const onDrop = (event: DragEvent): void => {
      if (!hasFiles(event)) return;
      event.preventDefault();
      setOver(false);
      uploader.add(group, [...(event.dataTransfer?.files ?? [])]);
    };
    addEventListener('dragover', onOver);
    addEventListener('dragleave', onLeave);
    addEventListener('drop', onDrop);
    return () => {
      removeEventListener('dragover', onOver);
      removeEventListener('dragleave', onLeave);
      removeEventListener('drop', onDrop);
    };
  }, [group]);

  return (
    <>
      <input
        ref={input}
        type="file"
        hidden
        multiple
        accept={ACCEPTED}
        onChange={(event) => {
          const files = [...(event.currentTarget.files ?? [])];
          // The same files may be chosen again.
          event.currentTarget.value = '';
          if (files.length > 0) uploader.add(group, files);
        }}
      />
      <button type="button" class={floating ? 'button strong floating' : 'button strong'} onClick={() => input.current?.click()}>
        <Icon name="plus" />
        <span>{t('addPhotos')}</span>
      </button>
      {over && (
        <div class="drop-here" aria-hidden="true">
          {t('dropHere')}
        </div>
      )}
    </>
  );
}
