// SPDX-License-Identifier: MIT
import { useEffect, useState } from 'preact/hooks';
import { useSignal } from '../../common/signal';
import { groups, readGroups } from '../core/groups';
import { t } from '../core/language';
import type { Group } from '../core/records';
import { groupPath } from '../core/routes';
import { session } from '../core/session';
import { useWhenBack } from '../core/useWhenBack';
import { Bar } from '../parts/Bar';
import { Empty, Failed, Loading } from '../parts/Empty';
import { Icon } from '../parts/Icon';
import { LanguageChoice } from '../parts/LanguageChoice';
import { Name } from '../parts/Name';
import { NewGroupDialog } from '../parts/NewGroupDialog';

function Card({ group, own }: { group: Group; own: boolean }) {
  return (
    <li class="group-card">
      <a href={groupPath(group.id)}>
        <span class="group-picture">{group.image === null ? <Icon name="picture" /> : <img src={group.image} alt="" loading="lazy" />}</span>
        <span class="group-text">
          <span class="group-name">
            <Name of={group.name} />
          </span>
          <span class="faint">
            {t('photos', { count: group.photos })} · {t('commentCount', { count: group.comments })}
          </span>
          <span class="faint">{t('groupBy', { name: own ? t('you') : group.master.name })}</span>
        </span>
      </a>
    </li>
  );
}

export function GroupsView() {
  const { list, failure } = useSignal(groups);
  const who = useSignal(session);
  const [making, setMaking] = useState(false);
  useEffect(() => {
    window.scrollTo(0, 0);
    void readGroups();
  }, []);
  useWhenBack(failure !== null, () => void readGroups());
  return (
    <>
      <Bar title={t('groups')} heading={t('groups')}>
        {list !== null && (
          <button type="button" class="button plain" onClick={() => setMaking(true)}>
            <Icon name="plus" />
            <span>{t('newGroup')}</span>
          </button>
        )}
        <a class="button plain" href="/devices">
          <Icon name="person" />
          <span>{t('myDevices')}</span>
        </a>
      </Bar>
      <main id="main" class="column" tabIndex={-1}>
        {list === null && failure === null && <Loading />}
        {list === null && failure !== null && <Failed failure={failure} onAgain={() => void readGroups()} />}
        {list !== null && list.length === 0 && <Empty icon="picture" title={t('groupsEmpty')} hint={t('groupsEmptyHint')} />}
        {list !== null && list.length > 0 && (
          <ul class="groups" role="list">
            {list.map((group) => (
              <Card key={group.id} group={group} own={group.master.id === who?.person.id} />
            ))}
          </ul>
        )}
        <LanguageChoice />
      </main>
      {making && <NewGroupDialog onClose={() => setMaking(false)} />}
    </>
  );
}
