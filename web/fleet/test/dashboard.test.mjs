// The fleet dashboard in Debian's Chromium, driven by Playwright, against a Mosquitto broker the
// test starts on loopback (which also serves the page), with two stations played by tavix-host
// processes with the MQTT bridge: a camera lost shows within a second, a station killed with
// SIGKILL goes offline by its last will, the filter and a camera's detail work; the last look is
// saved as a screenshot.
import { test, before, after } from 'node:test';
import assert from 'node:assert/strict';
import { spawn } from 'node:child_process';
import fs from 'node:fs';
import net from 'node:net';
import os from 'node:os';
import path from 'node:path';
import { fileURLToPath } from 'node:url';
import mqtt from 'mqtt';
import { chromium } from 'playwright-core';

const here = path.dirname(fileURLToPath(import.meta.url));
const pageDir = path.resolve(here, '..');
const env = process.env;
const ready = env.TAVIX_HOST_PROGRAM && env.TAVIX_PLUGIN_DIR && env.TAVIX_MQTT_PLUGIN;
const chromiumPath = env.TAVIX_CHROMIUM || '/usr/bin/chromium';
const run = `${process.pid}`;
const stationA = `fleet-a-${run}`;
const stationB = `fleet-b-${run}`;

const work = fs.mkdtempSync(path.join(os.tmpdir(), 'tavix-fleet-'));
const children = [];
let broker;
let context;
let page;
let listener;
const events = [];

function freePort() {
  return new Promise((resolve, reject) => {
    const server = net.createServer();
    server.on('error', reject);
    server.listen(0, '127.0.0.1', () => {
      const { port } = server.address();
      server.close(() => resolve(port));
    });
  });
}

function waitForPort(port, timeoutMs) {
  const deadline = Date.now() + timeoutMs;
  return new Promise((resolve, reject) => {
    const attempt = () => {
      const socket = net.connect(port, '127.0.0.1');
      socket.once('connect', () => { socket.end(); resolve(); });
      socket.once('error', () => {
        socket.destroy();
        if (Date.now() > deadline) reject(new Error(`nothing listens on ${port}`));
        else setTimeout(attempt, 50);
      });
    };
    attempt();
  });
}

function start(program, args, extraEnv = {}) {
  const child = spawn(program, args, { env: { ...env, ...extraEnv }, stdio: ['ignore', 'ignore', 'pipe'] });
  child.log = '';
  child.stderr.on('data', (data) => { child.log += data; });
  children.push(child);
  return child;
}

function startStation(station, extraArgs, extraEnv = {}) {
  return start(env.TAVIX_HOST_PROGRAM, ['--plugin-dir', env.TAVIX_PLUGIN_DIR, '--client', env.TAVIX_MQTT_PLUGIN, ...extraArgs, 'serve'], {
    TAVIX_MQTT_HOST: '127.0.0.1',
    TAVIX_MQTT_PORT: String(broker.port),
    TAVIX_MQTT_STATION: station,
    TAVIX_MQTT_STATISTICS_INTERVAL: '500',
    XDG_CONFIG_HOME: work, // the stations' settings are not the user's
    ...extraEnv,
  });
}

async function startBroker() {
  const port = await freePort();
  const webPort = await freePort();
  const config = path.join(work, 'mosquitto.conf');
  fs.writeFileSync(config, [
    `user ${os.userInfo().username}`,
    'per_listener_settings false', 'persistence false', 'allow_anonymous true', 'log_dest stderr', 'log_type error',
    `listener ${port} 127.0.0.1`,
    `listener ${webPort} 127.0.0.1`, 'protocol websockets', `http_dir ${pageDir}`, '',
  ].join('\n'));
  const child = start(fs.existsSync('/usr/sbin/mosquitto') ? '/usr/sbin/mosquitto' : 'mosquitto', ['-c', config]);
  await waitForPort(port, 10000);
  await waitForPort(webPort, 10000);
  return { child, port, webPort };
}

function request(client, topic, command, replyTopic) {
  const correlation = Buffer.from(`${Date.now()}-${Math.random()}`);
  return new Promise((resolve, reject) => {
    const timer = setTimeout(() => reject(new Error(`no answer to ${JSON.stringify(command)}`)), 15000);
    const onMessage = (t, payload, packet) => {
      const data = packet.properties && packet.properties.correlationData;
      if (t === replyTopic && data && Buffer.compare(Buffer.from(data), correlation) === 0) {
        clearTimeout(timer);
        client.off('message', onMessage);
        resolve(JSON.parse(payload.toString()));
      }
    };
    client.on('message', onMessage);
    client.publish(topic, JSON.stringify(command), { qos: 1, properties: { responseTopic: replyTopic, correlationData: correlation } });
  });
}

before(async () => {
  if (!ready) return;
  broker = await startBroker();
  startStation(stationA, ['--scenario', path.join(here, 'station-a.json')], { TAVIX_MQTT_COMMANDS: 'open,grab' });
  startStation(stationB, []);
  listener = mqtt.connect(`mqtt://127.0.0.1:${broker.port}`, { protocolVersion: 5 });
  listener.on('message', (topic, payload) => {
    if (topic.endsWith('/events') && payload.length) events.push(JSON.parse(payload.toString()));
  });
  await new Promise((resolve) => listener.once('connect', resolve));
  await listener.subscribeAsync([`tavix/${stationA}/#`], { qos: 1 });

  context = await chromium.launchPersistentContext(path.join(work, 'chromium'), {
    executablePath: chromiumPath,
    headless: true,
    viewport: { width: 1400, height: 900 },
    args: ['--no-sandbox', '--disable-gpu', '--disable-quic', '--no-first-run', '--disable-background-networking',
      '--disable-component-update', '--disable-sync'],
  });
  page = context.pages()[0] || await context.newPage();
  await page.goto(`http://127.0.0.1:${broker.webPort}/index.html`);
});

after(async () => {
  if (context) await context.close();
  if (listener) await listener.endAsync(true);
  for (const child of children.reverse()) {
    if (child.exitCode === null) child.kill('SIGKILL');
  }
  fs.rmSync(work, { recursive: true, force: true });
});

const row = (station, camera) => `article[data-station="${station}"] tr[data-camera="${camera}"]`;

test('shows every station and camera live, a lost camera within a second', { skip: !ready && 'run by ctest' }, async () => {
  await page.waitForSelector('.broker.connected', { timeout: 15000 });
  await page.waitForSelector(row(stationA, '73000002'), { timeout: 30000 });
  await page.waitForSelector(row(stationB, '40011012'), { timeout: 30000 });
  assert.equal(await page.textContent(`${row(stationB, '40011012')} .firmware`), 'OVK2310-R4.11');

  // An operator starts a grab; the page shows it grabbing with its rate.
  const reply = `tavix/${stationA}/replies/test`;
  await listener.subscribeAsync(reply, { qos: 1 });
  for (const camera of ['73000001', '73000002']) {
    for (const command of ['open', 'grab']) {
      const answer = await request(listener, `tavix/${stationA}/cameras/${camera}/command`, { command }, reply);
      assert.equal(answer.ok, true, `${command} ${camera}: ${answer.reason}`);
    }
  }
  await page.waitForSelector(`${row(stationA, '73000002')} .badge.grabbing`, { timeout: 10000 });
  await page.waitForFunction((selector) => /fps/.test(document.querySelector(selector).textContent),
    `${row(stationA, '73000001')} .rate`, { timeout: 10000 });
  await page.waitForSelector(`${row(stationA, '73000001')} .failed.failing`, { timeout: 10000 });

  // The timeline loses the grabbing camera: on the page within a second of the station's event.
  const lostRow = await page.waitForSelector(`${row(stationA, '73000002')}[data-lost-shown-at]`, { timeout: 30000 });
  const shownAt = Number(await lostRow.getAttribute('data-lost-shown-at'));
  const lost = events.find((e) => e.event === 'lost' && e.camera === '73000002');
  assert.ok(lost, 'the station told of the loss');
  assert.ok(shownAt - lost.time < 1000, `shown ${shownAt - lost.time} ms after the loss`);
  assert.ok(await page.isVisible(`${row(stationA, '73000002')} .badge.lost`));

  // A camera's detail has its recent events, newest first.
  await page.click(row(stationA, '73000002'));
  await page.waitForSelector('#detail:not([hidden]) #detail-events li[data-event="lost"]', { timeout: 5000 });
  const order = await page.$$eval('#detail-events li', (items) => items.map((item) => item.dataset.event));
  assert.ok(order.indexOf('lost') < order.indexOf('grabStarted'), order.join(', '));
});

test('the filter narrows the cameras', { skip: !ready && 'run by ctest' }, async () => {
  await page.fill('#filter', '73000001');
  await page.waitForFunction(() => document.querySelectorAll('tr.camera:not(.hidden)').length === 1, null, { timeout: 5000 });
  assert.ok(await page.isHidden(`article[data-station="${stationB}"]`));
  await page.fill('#filter', 'lost');
  await page.waitForFunction(() => document.querySelectorAll('tr.camera:not(.hidden)').length === 1, null, { timeout: 5000 });
  await page.fill('#filter', '');
});

test('a station killed with SIGKILL goes offline by its last will', { skip: !ready && 'run by ctest' }, async () => {
  const stationBProcess = children.find((c) => c.spawnargs.includes('serve') && !c.spawnargs.includes('--scenario'));
  stationBProcess.kill('SIGKILL');
  await page.waitForSelector(`article.offline[data-station="${stationB}"]`, { timeout: 10000 });
  assert.match(await page.textContent(`article[data-station="${stationB}"] .since`), /connection lost/);
  assert.match(await page.textContent(`article[data-station="${stationA}"] .status`), /online/);
  if (env.FLEET_SCREENSHOT) {
    await page.click(row(stationA, '73000001'));
    await page.waitForSelector('#detail-events li', { timeout: 5000 });
    await page.screenshot({ path: env.FLEET_SCREENSHOT, fullPage: true });
  }
});
