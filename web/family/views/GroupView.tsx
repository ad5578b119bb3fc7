// SPDX-License-Identifier: MIT
import { useEffect, useRef, useState } from 'preact/hooks';
import { Failure } from '../../common/http';
import { cleanLine } from '../../common/plainText';
import { useSignal } from '../../common/signal';
import * as api from '../core/api';
import { feedOf, places } from '../core/groupFeed';
import { groups } from '../core/groups';
import { t } from '../core/language';
import type { Group } from '../core/records';
import { useWhenBack } from '../core/useWhenBack';
import { AddPhotos } from '../parts/AddPhotos';
import { Bar } from '../parts/Bar';
import { Empty, Failed, Loading } from '../parts/Empty';
import { Feed } from '../parts/Feed';
import { Icon } from '../parts/Icon';
import { InviteDialog } from '../parts/InviteDialog';
import { MonthRail } from '../parts/MonthRail';
import { MonthSelect } from '../parts/MonthSelect';
import { Name } from '../parts/Name';
import { NotThere } from './PlainViews';

/** The group as the list of groups has it, else asked for by itself. */
function useGroup(id: string): Group | undefined {
  const { list } = useSignal(groups);
  const [single, setSingle] = useState<Group>();
  const listed = list?.find((group) => group.id === id);
  useEffect(() => {
    if (list === null || listed !== undefined) return;
    api.group(id).then(setSingle, (error: unknown) => {
      if (!(error instanceof Failure)) throw error;
    });
  }, [id, list === null, listed === undefined]);
  return listed ?? single;
}

export function GroupView({ id, month }: { id: string; month: string | null }) {
  const feed = useSignal(feedOf(id).changed);
  const group = useGroup(id);
  const scroller = useRef<Feed | null>(null);
  const tools = useRef<HTMLDivElement>(null);
  const [current, setCurrent] = useState(0);
  const [covered, setCovered] = useState(64);
  const [inviting, setInviting] = useState(false);
  const returning = places.has(id);
  const { months, failure } = feed;

  useEffect(() => {
    if (!returning) window.scrollTo(0, 0);
    feed.open();
  }, [feed]);
  useEffect(() => {
    const height = tools.current?.offsetHeight;
    if (height !== undefined && height !== covered) setCovered(height);
  });
  useEffect(() => {
    if (month === null || months === null) return;
    const at = months.findIndex((one) => one.month === month);
    if (at >= 0) scroller.current?.showMonth(at);
  }, [month, months === null]);
  useWhenBack(failure !== null, () => void feed.refresh());

  const missing = failure?.word === 'not_found' || failure?.word === 'forbidden';
  const name = group?.name ?? '';
  const may = group?.may;
  return (
    <>
      <Bar title={cleanLine(name)} heading={name === '' ? t('photosOf') : <Name of={name} />} back={{ path: '/', name: t('groups') }} quiet={returning}>
        {may?.invite && (
          <button type="button" class="button plain" onClick={() => setInviting(true)}>
            <Icon name="invite" />
            <span>{t('invite')}</span>
          </button>
        )}
      </Bar>
      <main id="main" tabIndex={-1}>
        {months === null && failure === null && <Loading />}
        {missing && months === null && <NotThere back="/" name={t('groups')} />}
        {failure !== null && !missing && months === null && <Failed failure={failure} onAgain={() => void feed.refresh()} />}
        {months !== null && months.length === 0 && (
          <Empty icon="picture" title={t('feedEmpty')} hint={may?.upload ? t('feedEmptyHint') : undefined}>
            {may?.upload && <AddPhotos group={id} />}
          </Empty>
        )}
        {months !== null && months.length > 0 && (
          <>
            <div class="feed-tools" ref={tools}>
              <MonthSelect months={months} current={current} onMonth={(at) => scroller.current?.showMonth(at)} />
              <span class="faint total">{t('photos', { count: feed.total })}</span>
              {may?.upload && <AddPhotos group={id} floating />}
            </div>
            <MonthRail
              months={months}
              total={feed.total}
              current={current}
              onShare={(share) => scroller.current?.showShare(share)}
              onMonth={(at) => scroller.current?.showMonth(at)}
            />
            <Feed scroller={scroller} feed={feed} months={months} covered={covered} onMonth={setCurrent} />
          </>
        )}
      </main>
      {inviting && <InviteDialog group={id} name={name} onClose={() => setInviting(false)} />}
    </>
  );
}
