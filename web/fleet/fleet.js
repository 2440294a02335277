// The fleet dashboard: listens to every station's topics on the broker (MQTT over WebSockets)
// and shows each station and camera as the stations tell it. It never polls: every change is a
// message, and the page redraws only what changed, at most twenty times a second.
'use strict';

(function () {
  const MaxEvents = 50;
  const RedrawDelayMs = 50;

  const params = new URLSearchParams(location.search);
  const brokerUrl = params.get('broker')
    || (location.protocol.startsWith('http') ? `ws://${location.host}` : 'ws://localhost:9001');

  const stations = new Map(); // id -> station
  const dirty = new Set(); // stations to redraw
  let redrawTimer = null;
  let selected = null; // {station, camera}

  const $ = (id) => document.getElementById(id);
  const el = (tag, className, text) => {
    const node = document.createElement(tag);
    if (className) node.className = className;
    if (text !== undefined) node.textContent = text;
    return node;
  };

  function station(id) {
    let s = stations.get(id);
    if (!s) {
      s = { id, online: null, reason: '', since: 0, commands: [], cameras: new Map(), node: null, rows: new Map() };
      stations.set(id, s);
    }
    return s;
  }

  function camera(s, key) {
    let c = s.cameras.get(key);
    if (!c) {
      c = { key, state: null, gone: false, figures: null, events: [] };
      s.cameras.set(key, c);
    }
    return c;
  }

  function parse(payload) {
    if (payload.length === 0) return null;
    try {
      const doc = JSON.parse(new TextDecoder().decode(payload));
      return doc && typeof doc === 'object' && !Array.isArray(doc) ? doc : undefined;
    } catch (e) {
      return undefined; // not ours, or broken: ignored
    }
  }

  // tavix/<station>/status | events | cameras/<camera>/state | cameras/<camera>/statistics
  function onMessage(topic, payload) {
    const parts = topic.split('/');
    if (parts[0] !== 'tavix' || parts.length < 3) return;
    const doc = parse(payload);
    if (doc === undefined) return;
    const s = station(parts[1]);
    if (parts.length === 3 && parts[2] === 'status' && doc) {
      const online = doc.state === 'online';
      // A last will was written when the station connected: the page tells when it saw it.
      s.since = doc.reason === 'connectionLost' ? (s.online ? Date.now() : 0) : Number(doc.time) || 0;
      s.online = online;
      s.reason = String(doc.reason || '');
      s.commands = Array.isArray(doc.commands) ? doc.commands : [];
    } else if (parts.length === 3 && parts[2] === 'events' && doc) {
      if (typeof doc.camera === 'string' && doc.camera) {
        const c = camera(s, doc.camera);
        c.events.unshift(doc);
        c.events.length = Math.min(c.events.length, MaxEvents);
      }
    } else if (parts.length === 5 && parts[2] === 'cameras' && parts[4] === 'state') {
      const c = camera(s, parts[3]);
      if (doc) {
        c.state = doc;
        c.gone = false;
      } else {
        c.gone = true; // its retained state was taken away: the camera left the station
      }
    } else if (parts.length === 5 && parts[2] === 'cameras' && parts[4] === 'statistics' && doc) {
      camera(s, parts[3]).figures = doc;
    } else {
      return;
    }
    dirty.add(s.id);
    scheduleRedraw();
  }

  function scheduleRedraw() {
    if (redrawTimer === null) redrawTimer = setTimeout(redraw, RedrawDelayMs);
  }

  function time(ms) {
    return ms ? new Date(ms).toLocaleTimeString() : '';
  }

  function number(value, digits) {
    return typeof value === 'number' && isFinite(value) ? value.toFixed(digits) : '';
  }

  function badges(c) {
    const state = c.state || {};
    const list = [];
    if (c.gone) list.push('gone');
    if (state.lost) list.push('lost');
    if (state.grabbing) list.push('grabbing');
    else if (state.open) list.push('open');
    if (state.exclusive) list.push('exclusive');
    if (state.active) list.push('active');
    if (!list.length) list.push('closed');
    return list;
  }

  function searchText(s, c) {
    const state = c ? c.state || {} : {};
    return [s.id, s.online === false ? 'offline' : 'online', c && c.key, state.name, state.serial, state.model,
      state.firmware, state.address, state.lastError, c && badges(c).join(' ')].join(' ').toLowerCase();
  }

  function stationNode(s) {
    if (s.node) return s.node;
    const node = el('article', 'station');
    node.dataset.station = s.id;
    const title = el('h2');
    title.append(el('span', 'name', s.id), el('span', 'status'), el('span', 'since'));
    const table = el('table');
    const head = el('tr');
    for (const [label, className] of [['Camera', ''], ['Serial', ''], ['State', ''], ['Rate', 'num'], ['Failed', 'num'],
      ['Firmware', ''], ['Last error', '']]) head.append(el('th', className, label));
    table.append(el('thead'), el('tbody'));
    table.tHead.append(head);
    node.append(title, table);
    s.node = node;
    insertSorted($('stations'), node, s.id);
    return node;
  }

  function insertSorted(parent, node, key) {
    for (const child of parent.children) {
      if ((child.dataset.station || child.dataset.camera) > key) {
        parent.insertBefore(node, child);
        return;
      }
    }
    parent.append(node);
  }

  function cameraRow(s, c) {
    let row = s.rows.get(c.key);
    if (!row) {
      row = el('tr', 'camera');
      row.dataset.camera = c.key;
      for (const className of ['name', 'serial', 'state', 'rate num', 'failed num', 'firmware', 'error']) row.append(el('td', className));
      row.addEventListener('click', () => select(s.id, c.key));
      s.rows.set(c.key, row);
      insertSorted(s.node.querySelector('tbody'), row, c.key);
    }
    return row;
  }

  function drawCamera(s, c) {
    const row = cameraRow(s, c);
    const state = c.state || {};
    const cells = row.children;
    cells[0].textContent = state.name || c.key;
    cells[1].textContent = state.serial || c.key;
    cells[2].replaceChildren(...badges(c).map((b) => el('span', `badge ${b}`, b)));
    const f = c.figures;
    const grabbing = state.grabbing && f;
    cells[3].textContent = grabbing ? `${number(f.rate, 1)} fps` : '';
    cells[4].textContent = f ? `${f.failed} / ${f.grabbed}` : '';
    cells[4].classList.toggle('failing', !!(f && f.failed > 0));
    cells[5].textContent = state.firmware || '';
    cells[6].textContent = state.lastError || '';
    cells[6].classList.toggle('error', !!state.lastError);
    row.classList.toggle('gone', c.gone);
    // When a loss was first on screen: the browser test measures against the station's time.
    if (state.lost && !row.dataset.lostShownAt) row.dataset.lostShownAt = String(Date.now());
    if (!state.lost) delete row.dataset.lostShownAt;
  }

  function drawStation(s) {
    const node = stationNode(s);
    node.classList.toggle('offline', s.online === false);
    const status = node.querySelector('.status');
    status.textContent = s.online === null ? 'unknown' : s.online ? 'online' : 'offline';
    node.querySelector('.since').textContent = s.since
      ? `${s.online ? 'since' : 'at'} ${time(s.since)}${s.reason ? ` (${s.reason === 'connectionLost' ? 'connection lost' : s.reason})` : ''}`
      : '';
    if (s.online === false && !node.dataset.offlineShownAt) node.dataset.offlineShownAt = String(Date.now());
    if (s.online) delete node.dataset.offlineShownAt;
    for (const c of s.cameras.values()) drawCamera(s, c);
  }

  function applyFilter() {
    const words = $('filter').value.toLowerCase().split(/\s+/).filter(Boolean);
    const matches = (text) => words.every((w) => text.includes(w));
    for (const s of stations.values()) {
      if (!s.node) continue;
      let shown = 0;
      for (const c of s.cameras.values()) {
        const visible = matches(searchText(s, c));
        cameraRow(s, c).classList.toggle('hidden', !visible);
        if (visible) shown++;
      }
      s.node.classList.toggle('hidden', shown === 0 && !(words.length && matches(searchText(s, null))) && words.length > 0);
    }
  }

  function drawSummary() {
    let online = 0; let cameras = 0; let lost = 0;
    for (const s of stations.values()) {
      if (s.online) online++;
      for (const c of s.cameras.values()) {
        if (!c.gone) cameras++;
        if (c.state && c.state.lost) lost++;
      }
    }
    $('summary').textContent = `${online} of ${stations.size} stations online, ${cameras} cameras${lost ? `, ${lost} lost` : ''}`;
    $('empty').hidden = stations.size > 0;
  }

  function select(stationId, key) {
    selected = { station: stationId, camera: key };
    for (const row of document.querySelectorAll('tr.camera.selected')) row.classList.remove('selected');
    const s = stations.get(stationId);
    if (s && s.rows.get(key)) s.rows.get(key).classList.add('selected');
    drawDetail();
  }

  function drawDetail() {
    const panel = $('detail');
    const s = selected && stations.get(selected.station);
    const c = s && s.cameras.get(selected.camera);
    panel.hidden = !c;
    if (!c) return;
    const state = c.state || {};
    $('detail-title').textContent = `${state.name || c.key} on ${s.id}`;
    const fields = [['State', badges(c).join(', ')], ['Serial', state.serial], ['Model', `${state.vendor || ''} ${state.model || ''}`],
      ['Firmware', state.firmware], ['Layer', state.layer], ['Address', state.address], ['Full name', state.fullName],
      ['Last error', state.lastError]];
    if (c.figures) {
      const f = c.figures;
      fields.push(['Rate', `${number(f.rate, 1)} fps, ${number(f.bandwidth / 1e6, 1)} MB/s`],
        ['Images', `${f.grabbed} grabbed, ${f.failed} failed, ${f.skipped} skipped`]);
      if (f.compression) fields.push(['Compression', `ratio ${number(f.compression.ratio, 2)}`]);
    }
    $('detail-state').replaceChildren(...fields.flatMap(([k, v]) => [el('dt', '', k), el('dd', '', v || '')]));
    $('detail-events').replaceChildren(...c.events.map((e) => {
      const item = el('li', e.event === 'lost' || e.event === 'imageFailed' || e.ok === false ? 'error' : '');
      item.dataset.event = e.event;
      item.textContent = `${time(e.time)}  ${describe(e)}`;
      return item;
    }));
  }

  function describe(e) {
    switch (e.event) {
      case 'imageFailed': return `${e.count > 1 ? `${e.count} images failed` : 'image failed'}: ${e.text} (0x${Number(e.code).toString(16)})`;
      case 'grabStopped': return `grab stopped after ${e.grabbed} images, ${e.failed} failed`;
      case 'firmwareChanged': return `firmware ${e.from} → ${e.to}`;
      case 'lost': return `lost${e.reason ? `: ${e.reason}` : ''}`;
      case 'command': return `command ${e.command}: ${e.ok ? 'done' : `${e.error}: ${e.reason}`}`;
      default: return e.event;
    }
  }

  function redraw() {
    redrawTimer = null;
    for (const id of dirty) drawStation(stations.get(id));
    dirty.clear();
    applyFilter();
    drawSummary();
    drawDetail();
  }

  function setBroker(text, connected) {
    const node = $('broker');
    node.textContent = text;
    node.classList.toggle('connected', connected);
  }

  $('filter').addEventListener('input', applyFilter);
  $('close-detail').addEventListener('click', () => { selected = null; drawDetail(); });

  const client = mqtt.connect(brokerUrl, {
    protocolVersion: 5,
    clean: true,
    reconnectPeriod: 2000,
    clientId: `tavix-fleet-${Math.random().toString(16).slice(2, 10)}`,
    username: params.get('user') || undefined,
    password: params.get('password') || undefined,
  });
  client.on('connect', () => {
    setBroker(`broker ${brokerUrl}`, true);
    client.subscribe(['tavix/+/status', 'tavix/+/events', 'tavix/+/cameras/+/state', 'tavix/+/cameras/+/statistics'], { qos: 1 });
  });
  client.on('close', () => setBroker(`no broker at ${brokerUrl}`, false));
  client.on('message', onMessage);

  // For the browser test and whoever debugs the page.
  window.fleet = { stations, client, brokerUrl };
})();
