// SPDX-License-Identifier: MIT
// A service for the page's tests that need what the real one does not do on demand: a hundred thousand photos at once, a full disk, a
// newer version. It keeps everything in memory.
import { createHash, randomUUID } from 'node:crypto';
import { readFile } from 'node:fs/promises';
import { join } from 'node:path';
import { PNG } from './modules.mjs';
import { serve, sendFile } from './pageServer.mjs';

const PAGE = /^\/(?:$|group\/|pair(?:\/|$)|devices$|invite\/)/;

/** Hills of one colour or another, as large as asked for. */
function picture(seed, width, height) {
  const png = new PNG({ width, height });
  const hue = (seed * 47) % 360;
  const colour = (light) => {
    const part = (offset) => {
      const k = (offset + hue / 30) % 12;
      return Math.round(255 * (light - 0.45 * Math.min(light, 1 - light) * Math.max(-1, Math.min(k - 3, 9 - k, 1))));
    };
    return [part(0), part(8), part(4), 255];
  };
  const bands = [0.86, 0.78, 0.55, 0.4, 0.28].map(colour);
  for (let y = 0; y < height; ++y) {
    for (let x = 0; x < width; ++x) {
      let band = y < height * 0.3 ? 0 : 1;
      for (let hill = 2; hill < 5; ++hill) {
        const line = 0.3 + hill * 0.14 + 0.09 * Math.sin((x / width) * (3 + hill) + seed * hill);
        if (y / height > line) band = hill;
      }
      png.data.set(bands[band], (y * width + x) * 4);
    }
  }
  return PNG.sync.write(png);
}

const SIZES = { small: [116, 87], medium: [540, 405], large: [1440, 1080], original: [1440, 1080] };
const pictures = new Map();
function pictureOf(id, size) {
  const key = `${id % 24} ${size}`;
  if (!pictures.has(key)) pictures.set(key, picture(id % 24, ...SIZES[size]));
  return pictures.get(key);
}

const DAY = 86_400_000;
const iso = (time) => `${new Date(time).toISOString().slice(0, 19)}+02:00`;

/** @param options pages: the folder of the built pages; photos: how many the first group has; years: over how long */
export async function startStandIn({ pages, photos = 0, years = 20 }) {
  const anna = { id: '3', name: 'Anna', photo: null };
  const ben = { id: '4', name: 'Ben', photo: null };
  const state = {
    version: (await readFile(join(pages, 'family/version.txt'), 'utf8')).trim(),
    signedIn: true,
    person: anna,
    mostBytes: 50_000_000,
    /** What the next requests are answered with: (request, url) => [status, body, headers] or null. */
    interfere: () => null,
    /** Groups, newest photo first in each. */
    groups: [],
    comments: new Map(),
    deleted: new Map(),
    invitations: new Map(),
    pairings: new Map([['BCDFGHJK', { user_code: 'BCDF-GHJK', device_name: 'Living room', address: '192.168.1.20', expires_in: 880 }]]),
    devices: [{ duid: 'd1', name: 'Kitchen television', created: '2026-03-01T10:00:00+01:00', signed_in: '2026-11-20T19:00:00+01:00' }],
    sessions: [
      { id: 's1', name: 'Firefox on Linux', address: '192.168.1.7', created: '2026-10-01T10:00:00+02:00', used: '2026-11-22T09:00:00+01:00', current: true },
      { id: 's2', name: 'Safari on iPhone', address: '192.168.1.9', created: '2026-10-03T10:00:00+02:00', used: '2026-11-21T20:00:00+01:00', current: false },
    ],
    uploads: [],
    requests: [],
  };
  let lastId = 1000;
  const nextId = () => String(++lastId);
  const content = (group, time, extra = {}) => {
    const id = nextId();
    return {
      id, type: 'photo', format: 'png', description: '', size: 300_000, resolution: { width: 1440, height: 1080 },
      created: iso(time), uploaded: iso(time + DAY), creator: ben, url: `/page/media/${id}/original`,
      thumbnails: ['large', 'medium', 'small'].map((name) => ({ name, url: `/page/media/${id}/${name}` })),
      comment_count: 0, comments: [], events: [], group, file_name: `IMG_${id}.png`, may: { delete: true }, ...extra,
    };
  };
  const makeGroup = (name, count, master = anna) => {
    const id = nextId();
    const group = { id, name, description: '', master, contents: [], may: { upload: true, comment: true, invite: master === anna, delete_any: master === anna, delete_group: false } };
    const newest = Date.UTC(2026, 10, 20, 17, 4);
    for (let at = 0; at < count; ++at) group.contents.push(content(id, newest - Math.round((at * years * 365 * DAY) / Math.max(1, count)), at % 7 === 2 ? { description: `Moment ${at}` } : {}));
    state.groups.push(group);
    return group;
  };
  makeGroup('Holidays', photos);
  makeGroup('Grandparents', Math.min(photos, 3), ben);

  const find = (id) => {
    for (const group of state.groups) {
      const index = group.contents.findIndex((one) => one.id === id);
      if (index >= 0) return { group, index, content: group.contents[index] };
    }
    return null;
  };
  const groupRecord = (group) => ({
    id: group.id, name: group.name, description: group.description, master: group.master, contents: group.contents.length, photos: group.contents.length, videos: 0, music: 0,
    comments: group.contents.reduce((sum, one) => sum + one.comment_count, 0), image: group.contents[0]?.thumbnails[1].url ?? null, role: group.master === state.person ? 'master' : 'member', may: group.may,
  });
  const monthsOf = (group) => {
    const months = [];
    group.contents.forEach((one, index) => {
      const month = one.created.slice(0, 7);
      if (months[months.length - 1]?.month === month) months[months.length - 1].count += 1;
      else months.push({ month, count: 1, index });
    });
    return { total: group.contents.length, months };
  };

  const listeners = new Set();
  let eventId = 0;
  const tell = (event, data) => {
    eventId += 1;
    for (const response of listeners) response.write(`id: ${eventId}\nevent: ${event}\ndata: ${JSON.stringify(data)}\n\n`);
  };
  const qr = '<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 3 3"><path d="M0 0h1v1H0zM2 0h1v2H2zM1 2h1v1H1z"/></svg>';
  const failure = (status, error) => [status, { error, message: error }];

  const insert = (group, record) => {
    const at = group.contents.findIndex((one) => one.created <= record.created);
    group.contents.splice(at < 0 ? group.contents.length : at, 0, record);
    tell('content', { group: group.id, content_id: record.id });
  };

  const routes = [
    ['GET', /^\/page\/session$/, () => [200, { person: state.person, session: 's1', version: state.version, public_url: '', max_upload_bytes: state.mostBytes, time_zone_offset: '+02:00' }]],
    ['GET', /^\/page\/groups$/, () => [200, { groups: state.groups.map(groupRecord) }]],
    ['GET', /^\/page\/groups\/(\d+)$/, ([id]) => { const group = state.groups.find((one) => one.id === id); return group ? [200, groupRecord(group)] : failure(404, 'not_found'); }],
    ['GET', /^\/page\/groups\/(\d+)\/months$/, ([id]) => { const group = state.groups.find((one) => one.id === id); return group ? [200, monthsOf(group)] : failure(404, 'not_found'); }],
    ['GET', /^\/page\/groups\/(\d+)\/contents$/, ([id], url) => {
      const group = state.groups.find((one) => one.id === id);
      if (!group) return failure(404, 'not_found');
      const index = Number(url.searchParams.get('index'));
      return [200, { total: group.contents.length, index, contents: group.contents.slice(index, index + Number(url.searchParams.get('count'))) }];
    }],
    ['GET', /^\/page\/contents\/(\d+)$/, ([id]) => {
      const found = find(id);
      if (found === null) return failure(404, 'not_found');
      const { group, index } = found;
      return [200, { content: found.content, comments: state.comments.get(id) ?? [], group: group.id, index, total: group.contents.length, previous: group.contents[index - 1]?.id ?? null, next: group.contents[index + 1]?.id ?? null }];
    }],
    ['POST', /^\/page\/contents\/(\d+)\/comments$/, ([id], _, body) => {
      const found = find(id);
      if (found === null) return failure(404, 'not_found');
      const comment = { id: nextId(), text: JSON.parse(body).text, size: body.length, written: new Date().toISOString(), author: state.person, may: { delete: true } };
      state.comments.set(id, [...(state.comments.get(id) ?? []), comment]);
      found.content.comment_count += 1;
      tell('comment', { group: found.group.id, content_id: id, comment_id: comment.id });
      return [201, comment];
    }],
    ['DELETE', /^\/page\/comments\/(\d+)$/, ([id]) => {
      for (const [content, list] of state.comments) {
        const comment = list.find((one) => one.id === id);
        if (comment === undefined) continue;
        state.comments.set(content, list.filter((one) => one !== comment));
        state.deleted.set(id, { content, comment });
        return [200, { undo_seconds: 30 }];
      }
      return failure(404, 'not_found');
    }],
    ['POST', /^\/page\/comments\/(\d+)\/restore$/, ([id]) => { const { content: of, comment } = state.deleted.get(id); state.comments.set(of, [...state.comments.get(of), comment]); return [200, comment]; }],
    ['DELETE', /^\/page\/contents\/(\d+)$/, ([id]) => {
      const found = find(id);
      if (found === null) return failure(404, 'not_found');
      found.group.contents.splice(found.index, 1);
      state.deleted.set(id, found);
      tell('deleted', { group: found.group.id, content_id: id });
      return [200, { undo_seconds: 30 }];
    }],
    ['POST', /^\/page\/contents\/(\d+)\/restore$/, ([id]) => { const found = state.deleted.get(id); insert(found.group, found.content); return [200, found.content]; }],
    ['POST', /^\/page\/groups\/(\d+)\/check$/, ([id], _, body) => [200, { known: JSON.parse(body).files.filter((file) => state.uploads.some((one) => one.group === id && one.sha256 === file.sha256)).map((file) => ({ sha256: file.sha256, content_id: '1' })) }]],
    ['POST', /^\/page\/groups\/(\d+)\/contents$/, ([id], url, body) => {
      const group = state.groups.find((one) => one.id === id);
      const sha256 = createHash('sha256').update(body).digest('hex');
      const known = state.uploads.find((one) => one.group === id && one.sha256 === sha256);
      if (known) return [200, known.record];
      const record = content(id, Date.UTC(2026, 10, 21, 12, 0), { creator: state.person, file_name: url.searchParams.get('name') });
      state.uploads.push({ group: id, sha256, record, announced: url.searchParams.get('sha256') });
      insert(group, record);
      return [201, record];
    }],
    ['POST', /^\/page\/groups\/(\d+)\/invitations$/, ([id], url, body) => {
      const key = randomUUID().slice(0, 8);
      const { name } = JSON.parse(body);
      state.invitations.set(key, { inviter: state.person.name, group: { id, name: state.groups.find((one) => one.id === id).name }, name, state: 'open', expires: '2026-11-24T12:00:00Z' });
      return [201, { url: `${url.origin}/invite/${key}`, qr_svg: qr, name, expires: '2026-11-24T12:00:00Z' }];
    }],
    ['GET', /^\/page\/invitations\/([^/]+)$/, ([key]) => (state.invitations.has(key) ? [200, state.invitations.get(key)] : failure(404, 'not_found'))],
    ['POST', /^\/page\/invitations\/([^/]+)$/, ([key]) => {
      const invitation = state.invitations.get(key);
      if (invitation.state !== 'open') return failure(410, invitation.state);
      invitation.state = 'used';
      state.signedIn = true;
      return [200, { person: state.person }];
    }],
    ['GET', /^\/page\/devices$/, () => [200, { devices: state.devices, sessions: state.sessions }]],
    ['DELETE', /^\/page\/devices\/(\w+)$/, ([id]) => { state.devices = state.devices.filter((one) => one.duid !== id); return [200, {}]; }],
    ['DELETE', /^\/page\/sessions\/(\w+)$/, ([id]) => { state.sessions = state.sessions.filter((one) => one.id !== id); return [200, {}]; }],
    ['GET', /^\/page\/pairings\/([\w-]+)$/, ([code]) => { const pairing = state.pairings.get(code.replace('-', '')); return pairing ? [200, pairing] : failure(404, 'wrong_code'); }],
    ['POST', /^\/page\/pairings\/([\w-]+)$/, ([code], _, body) => { const pairing = state.pairings.get(code.replace('-', '')); pairing.decided = JSON.parse(body).approve; return [200, { approved: pairing.decided, device_name: pairing.device_name }]; }],
  ];

  async function answer(request, response) {
    const url = new URL(request.url, `http://${request.headers.host}`);
    state.requests.push(`${request.method} ${url.pathname}${url.search}`);
    const chunks = [];
    const [status, body, headers] = state.interfere(request, url) ?? [];
    if (status === 0) return request.socket.destroy();
    for await (const chunk of request) chunks.push(chunk);
    const json = (code, document, more = {}) => {
      response.writeHead(code, { 'Content-Type': 'application/json; charset=utf-8', 'Cache-Control': 'no-store', ...more });
      response.end(JSON.stringify(document));
    };
    if (status !== undefined) return json(status, body, headers);
    const media = /^\/page\/media\/(\d+)\/(\w+)$/.exec(url.pathname);
    if (media !== null) {
      response.writeHead(200, { 'Content-Type': 'image/png', 'Cache-Control': 'private, max-age=3600' });
      return response.end(pictureOf(Number(media[1]), media[2]));
    }
    if (url.pathname === '/page/events' && state.signedIn) {
      response.writeHead(200, { 'Content-Type': 'text/event-stream', 'Cache-Control': 'no-store' });
      response.write(`id: ${eventId}\nevent: version\ndata: ${JSON.stringify({ version: state.version })}\n\n`);
      listeners.add(response);
      return response.on('close', () => listeners.delete(response));
    }
    if (url.pathname.startsWith('/page/')) {
      if (!state.signedIn && !url.pathname.startsWith('/page/invitations/')) return json(401, { error: 'signed_out', message: '' });
      for (const [method, pattern, handle] of routes) {
        const found = pattern.exec(url.pathname);
        if (found !== null && method === request.method) return json(...handle(found.slice(1), url, method === 'POST' && /octet/.test(request.headers['content-type'] ?? '') ? Buffer.concat(chunks) : Buffer.concat(chunks).toString()));
      }
      return json(404, { error: 'not_found', message: '' });
    }
    if (!(await sendFile(response, join(pages, 'family'), PAGE.test(url.pathname) ? '/index.html' : url.pathname))) json(404, { error: 'not_found', message: '' });
  }

  const server = await serve(answer);
  return { url: server.url, state, tell, insert, content, end: server.stop, again: server.again, anna, ben };
}
