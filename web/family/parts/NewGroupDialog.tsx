// SPDX-License-Identifier: MIT
import * as api from '../core/api';
import { readGroups } from '../core/groups';
import { t } from '../core/language';
import { go } from '../core/router';
import { groupPath } from '../core/routes';
import { Dialog } from './Dialog';
import { NameForm } from './NameForm';

export function NewGroupDialog({ onClose }: { onClose: () => void }) {
  const create = async (name: string): Promise<void> => {
    const group = await api.createGroup(name);
    void readGroups();
    onClose();
    go(groupPath(group.id));
  };
  return (
    <Dialog title={t('newGroup')} onClose={onClose}>
      <NameForm draft="group" label={t('newGroupName')} hint={t('newGroupHint')} action={t('create')} onName={create} />
    </Dialog>
  );
}
