// SPDX-License-Identifier: MIT
// A television's program for the page's tests that need what the real one does not do on demand: a million photos at once, an outage to
// the second, a refused sign-in, a broken picture in each thirty. It keeps everything in memory.
import { randomUUID } from 'node:crypto';
import { readFile } from 'node:fs/promises';
import { join } from 'node:path';
import { serve, sendFile } from '../support/pageServer.mjs';
import { ArithmeticGroup, ListGroup } from './groups.mjs';
import { pictureOf } from './pictures.mjs';


/** A QR code that no camera reads, of the usual looks. */
const qr = (side = 29) => ({
  size: side,
  rows: Array.from({ length: side }, (_, y) =>
    Array.from({ length: side }, (_, x) => {
      const corner = (cx, cy) => Math.max(Math.abs(x - cx), Math.abs(y - cy));
      for (const [cx, cy] of [[3, 3], [side - 4, 3], [3, side - 4]]) if (corner(cx, cy) <= 4) return corner(cx, cy) === 2 || corner(cx, cy) === 4 ? 0 : 1;
      return (x * 7 + y * 13 + x * y) % 3 === 0 ? 1 : 0;
    }).join(''),
  ),
});

export const PHRASES = ['❤️', '😀', 'How lovely!', 'Miss you!', 'Where was that?', 'Call me!'];

/** @param options photos: of the first group; million: whether a group of 1,000,000 is there; version: what the page is told it is */
export async function startTelevision({ pages, photos = 120, years = 4, million = false, version = null, today = new Date() }) {
  const state = {
    version: version ?? (await readFile(join(pages, 'tv/version.txt'), 'utf8')).trim(),
    paired: true,
    service: 'ok',
    person: { id: '3', name: 'Anna' },
    pairing: null,
    guests: null,
    lan: true,
    settings: { seconds: 8, order: 'shuffle', night: null, idle_minutes: 10, clock: true, caption: true, motion: true, pairs: true, phrases: PHRASES, language: 'auto' },
    /** What is answered instead: (request, url) => [status, body, headers], [0] for a cut line, or null. */
    interfere: () => null,
    groups: [],
    comments: new Map(),
    marked: new Set(),
    hidden: new Set(),
    /** Contents whose pictures are broken, and those that are stored; null where all are. */
    broken: () => false,
    stored: null,
    watched: new Map(),
    requests: [],
    /** Milliseconds that pictures take. */
    delay: 0,
    forgotten: 0,
    cookie: null,
  };
  state.groups.push(new ListGroup('101', 'Holidays', photos, { years, today }), new ListGroup('102', 'Grandparents', Math.min(photos, 12), { years: 1, today }));
  if (million) state.groups.push(new ArithmeticGroup('900', 'Everything', 1_000_000));

  const find = (id) => {
    for (const group of state.groups) {
      const index = group.indexOf(id);
      if (index >= 0) return { group, index };
    }
    return null;
  };
  const withMarks = (item) => ({ ...item, marked: state.marked.has(item.id), comment_count: (state.comments.get(item.id) ?? []).length });
  const snapshot = () => ({ paired: state.paired, service: state.service, person: state.paired ? state.person : null, version: state.version, pairing: state.pairing, guests: state.guests, settings: state.settings });

  const listeners = new Set();
  const awaitingListeners = [];
  let eventId = 0;
  const tell = (event, data) => {
    eventId += 1;
    for (const response of listeners) response.write(`id: ${eventId}\nevent: ${event}\ndata: ${JSON.stringify(data)}\n\n`);
  };
  const failure = (status, error, headers) => [status, { error, message: error }, headers];
  const kept = (set, url) => {
    const items = [...set].map(find).filter((one) => one !== null).map(({ group, index }) => withMarks(group.whole(index)));
    const index = Number(url.searchParams.get('index') ?? 0);
    return [200, { total: items.length, index, contents: items.slice(index, index + Number(url.searchParams.get('count') ?? 100)) }];
  };

  function show(url) {
    const of = url.searchParams.get('of') ?? 'all';
    const groups = url.searchParams.has('group') ? state.groups.filter((one) => one.id === url.searchParams.get('group')) : state.groups;
    if (groups.length === 0) return failure(404, 'not_found');
    const day = new Date().toISOString().slice(5, 10);
    const fits = (item) => of === 'all' || (of === 'marked' ? state.marked.has(item.id) : of === 'day' ? item.created.slice(5, 10) === day : item.created.startsWith(of));
    // Of everything nothing is gathered: a million is counted on.
    const all = of === 'all' ? null : groups.flatMap((group) => group.all().filter(fits));
    const total = all?.length ?? groups.reduce((sum, group) => sum + group.total, 0);
    const pick = (at) => {
      if (all !== null) return all[at];
      for (const group of groups) {
        if (at < group.total) return group.item(at);
        at -= group.total;
      }
      return null;
    };
    const index = Number(url.searchParams.get('index') ?? 0);
    const count = Math.min(Number(url.searchParams.get('count') ?? 50), 1000);
    const seed = Number(url.searchParams.get('seed') ?? 0);
    const items = [];
    const gcd = (a, b) => (b === 0 ? a : gcd(b, a % b));
    let factor = Math.floor(total * 0.618) + (seed % 1000);
    while (total > 1 && gcd(factor % total, total) !== 1) factor += 1;
    for (let at = index; at < index + count && total > 0; ++at) {
      const place = at % total;
      items.push(withMarks(pick(url.searchParams.get('order') === 'time' ? place : (place * factor + seed) % total)));
    }
    return [200, { total, index, round: total === 0 ? 0 : Math.floor(index / total), items }];
  }

  const byGroup = (handle) => ([id], url, body) => {
    const group = state.groups.find((one) => one.id === id);
    return group === undefined ? failure(404, 'not_found') : handle(group, url, body);
  };
  const byContent = (handle) => ([id], url, body) => {
    const found = find(id);
    return found === null ? failure(404, 'not_found') : handle(found, url, body);
  };
  const routes = [
    ['GET', /^\/api\/state$/, () => [200, snapshot()]],
    ['POST', /^\/api\/pairing$/, () => { beginPairing(); return [200, {}]; }],
    ['POST', /^\/api\/signout$/, () => { state.forgotten += 1; state.paired = false; beginPairing(); return [200, {}]; }],
    ['GET', /^\/api\/groups$/, () => [200, { groups: state.groups.map((group) => ({ id: group.id, name: group.name, description: '', total: group.total, contents: group.total, complete: group.complete, image: group.total === 0 ? null : `/media/${group.item(0).id}/grid` })) }]],
    ['GET', /^\/api\/groups\/(\w+)\/months$/, byGroup((group) => [200, group.months()])],
    ['GET', /^\/api\/groups\/(\w+)\/contents$/, byGroup((group, url) => {
      const count = Math.min(1000, Number(url.searchParams.get('count') ?? 100));
      const month = url.searchParams.get('month');
      if (month !== null) return [200, { month, contents: group.all().filter((item) => item.created.startsWith(month)).slice(0, count).map((item) => withMarks({ ...item, index: null })) }];
      return [200, { total: group.total, index: Number(url.searchParams.get('index')), complete: group.complete, contents: group.slice(Number(url.searchParams.get('index')), count).map(withMarks) }];
    })],
    ['GET', /^\/api\/contents\/(\w+)$/, byContent(({ group, index }) => [200, { content: withMarks(group.item(index)), comments: state.comments.get(group.item(index).id) ?? [], total: group.total }])],
    ['POST', /^\/api\/contents\/(\w+)\/comments$/, byContent(({ group, index }, _, body) => {
      if (state.service !== 'ok') return failure(503, 'away');
      const { id } = group.item(index);
      const comment = { id: String(++eventId + 5000), text: JSON.parse(body).text, written: today.toISOString(), author: state.person };
      state.comments.set(id, [...(state.comments.get(id) ?? []), comment]);
      tell('comment', { group: group.id, content_id: id });
      return [201, comment];
    })],
    ['PUT', /^\/api\/contents\/(\w+)\/mark$/, ([id], _, body) => { state.marked[JSON.parse(body).marked ? 'add' : 'delete'](id); return [200, {}]; }],
    ['PUT', /^\/api\/contents\/(\w+)\/hide$/, byContent(({ group }, _, body) => byHide(group, body))],
    ['GET', /^\/api\/hidden$/, (_, url) => kept(state.hidden, url)],
    ['GET', /^\/api\/marked$/, (_, url) => kept(state.marked, url)],
    ['GET', /^\/api\/show$/, (_, url) => show(url)],
    ['PUT', /^\/api\/settings$/, (_, __, body) => { state.settings = { ...state.settings, ...JSON.parse(body) }; tell('settings', state.settings); return [200, state.settings]; }],
    ['POST', /^\/api\/watching$/, (_, __, body) => { const { tab, contents } = JSON.parse(body); state.watched.set(tab, contents.map(({ id }) => id)); return [200, {}]; }],
    ['POST', /^\/api\/guests$/, (_, __, body) => {
      if (!state.lan) return failure(404, 'not_found');
      state.guests = { url: 'http://192.168.1.30:7700/abc/', qr: qr(25), group: JSON.parse(body).group, expires_in: 3600, left: { count: 50, bytes: 1e9 }, transfers: [] };
      return [200, state.guests];
    }],
    ['DELETE', /^\/api\/guests$/, () => { state.guests = null; return [200, {}]; }],
  ];
  function byHide(group, body, id = hiding) {
    const { hidden } = JSON.parse(body);
    if (hidden) { group.hide(id); state.hidden.add(id); tell('deleted', { group: group.id, content_id: id }); } else { group.bring(id); state.hidden.delete(id); tell('content', { group: group.id, content_id: id, index: group.indexOf(id) }); }
    return [200, {}];
  }
  let hiding = '';

  function beginPairing() {
    state.pairing = { user_code: 'BCDF-GHJK', verification_uri: 'https://photos.example/pair', verification_uri_complete: 'https://photos.example/pair/BCDF-GHJK', expires_in: 900, state: 'waiting', message: '', qr: qr() };
    tell('state', snapshot());
  }

  function media(response, id, size, url) {
    const found = find(id);
    const json = (code, document, more = {}) => {
      response.writeHead(code, { 'Content-Type': 'application/json', 'Cache-Control': 'no-store', ...more });
      response.end(JSON.stringify(document));
    };
    if (found === null) return json(404, { error: 'gone', message: '' });
    if (state.broken(id)) return json(422, { error: 'broken', message: '' });
    if (state.service === 'away' && state.stored !== null && !state.stored.has(id)) return json(503, { error: 'away', message: '' }, { 'Retry-After': '1' });
    state.stored?.add(id);
    const bounds = url.searchParams.has('width') ? [Number(url.searchParams.get('width')), Number(url.searchParams.get('height'))] : null;
    const bytes = pictureOf(Number(id), size, bounds);
    const send = () => {
      response.writeHead(200, { 'Content-Type': 'image/png', 'Cache-Control': 'private, max-age=3600', 'Content-Length': bytes.length });
      response.end(bytes);
    };
    if (state.delay > 0) setTimeout(send, state.delay);
    else send();
  }

  async function answer(request, response) {
    const url = new URL(request.url, `http://${request.headers.host}`);
    state.requests.push(`${request.method} ${url.pathname}${url.search}`);
    if (state.requests.length > 2000) state.requests.splice(0, 1000);
    const chunks = [];
    const [status, body, headers] = state.interfere(request, url) ?? [];
    if (status === 0) return request.socket.destroy();
    for await (const chunk of request) chunks.push(chunk);
    const json = (code, document, more = {}) => {
      response.writeHead(code, { 'Content-Type': 'application/json; charset=utf-8', 'Cache-Control': 'no-store', ...more });
      response.end(JSON.stringify(document));
    };
    if (status !== undefined) return json(status, body, headers);
    if (state.cookie !== null && request.headers.cookie !== state.cookie) return json(403, { error: 'forbidden', message: '' });
    const picture = /^\/media\/(\w+)\/(grid|screen|full)$/.exec(url.pathname);
    if (picture !== null) return media(response, picture[1], picture[2], url);
    if (url.pathname === '/api/events') {
      response.writeHead(200, { 'Content-Type': 'text/event-stream', 'Cache-Control': 'no-store' });
      response.write(`id: ${eventId + 1}\nevent: state\ndata: ${JSON.stringify(snapshot())}\n\n`);
      eventId += 1;
      listeners.add(response);
      for (const told of awaitingListeners.splice(0)) told();
      return response.on('close', () => listeners.delete(response));
    }
    if (url.pathname.startsWith('/api/')) {
      hiding = /contents\/(\w+)/.exec(url.pathname)?.[1] ?? '';
      for (const [method, pattern, handle] of routes) {
        const found = pattern.exec(url.pathname);
        if (found !== null && method === request.method) return json(...handle(found.slice(1), url, Buffer.concat(chunks).toString()));
      }
      return json(404, { error: 'not_found', message: '' });
    }
    if (!(await sendFile(response, join(pages, 'tv'), url.pathname === '/' ? '/index.html' : url.pathname))) json(404, { error: 'not_found', message: '' });
  }

  const server = await serve(answer, { keepAlive: 60_000 });
  const stop = () => {
    listeners.clear();
    return server.stop();
  };
  return {
    url: server.url,
    state,
    tell,
    find,
    key: randomUUID(),
    /** The service behind the program: ok, away or refused. */
    setService(service) { state.service = service; tell('state', snapshot()); },
    setPaired(paired, person = state.person) { state.paired = paired; state.person = person; state.pairing = null; if (!paired) beginPairing(); else tell('state', snapshot()); },
    setPairing(pairing) { state.pairing = { ...state.pairing, ...pairing }; tell('state', snapshot()); },
    tellState: () => tell('state', snapshot()),
    /** A photo comes in, as from somebody's telephone. */
    add(group, options) { const id = group.add(options); tell('content', { group: group.id, content_id: id, index: group.indexOf(id) }); return id; },
    /** Resolves when one more page listens to what happens: what is told before that, it hears nothing of. */
    nextListener: () => new Promise((told) => awaitingListeners.push(told)),
    remove(group, id) { group.remove(id); tell('deleted', { group: group.id, content_id: id }); },
    stop,
    again: server.again,
    end: stop,
  };
}
