#!/usr/bin/env python3
"""Looks at the pages of `corvane report` and `corvane results` in a headless Chromium.

    report_page_test.py CORVANE CHROMIUM [SCREENSHOTS]

Makes a unit and results whose texts are hostile, and checks in both colour schemes and in print,
on a narrow and a wide window, that the page has all its sections, loads nothing, says nothing on
the console, runs no text of the unit, overlaps nowhere and can be read. With a third argument it
also saves what it sees to that folder.
"""
import base64
import json
import os
import shutil
import subprocess
import sys
import tempfile

HOSTILE = '"><img src=x onerror="window.hacked=1"><script>window.hacked=1</script>\'&amp;'

CHECK = r"""
(() => {
  const problems = [];
  const isReport = document.title == 'Unit report';
  const titles = [...document.querySelectorAll('h2,h3')].map(title => title.textContent);
  for (const title of ['What it is', 'Control-bit bytes', 'Records', 'Configuration area',
                       'Findings', 'Boot arguments', 'Test log', 'Processor use'])
    if (isReport && !titles.includes(title)) problems.push('no section ' + title);
  if (document.querySelectorAll('.grid tbody td').length % 128) problems.push('grid is not of 128');
  if (document.documentElement.scrollWidth > innerWidth) problems.push('wider than the window');
  if (window.hacked || document.querySelectorAll('script').length != isReport ||
      document.querySelectorAll('img:not([alt^=chart])').length)
    problems.push('text became markup');
  for (const element of document.querySelectorAll('*'))
    for (const attribute of element.attributes)
      if (/^on/.test(attribute.name)) problems.push('handler ' + attribute.name);

  const parts = text => text.match(/[\d.]+/g).map(Number);
  const luminance = rgb => rgb.slice(0, 3).map(part => part / 255)
      .map(part => part <= 0.04045 ? part / 12.92 : ((part + 0.055) / 1.055) ** 2.4)
      .reduce((sum, part, i) => sum + part * [0.2126, 0.7152, 0.0722][i], 0);
  const background = element => {
    for (; element; element = element.parentElement) {
      const colour = parts(getComputedStyle(element).backgroundColor);
      if (colour.length == 3 || colour[3] == 1) return colour;
    }
    return [255, 255, 255];
  };
  if (matchMedia('print').matches && luminance(background(document.body)) < 1)
    problems.push('prints light text on white paper');
  const boxes = [];
  for (const element of document.querySelectorAll('body *')) {
    if (element.closest('svg') || !element.offsetParent) continue;
    const texts = [...element.childNodes].filter(node => node.nodeType == 3 && node.data.trim());
    if (!texts.length) continue;
    const pair = [luminance(parts(getComputedStyle(element).color)),
                  luminance(background(element))].sort((a, b) => b - a);
    const contrast = (pair[0] + 0.05) / (pair[1] + 0.05);
    if (contrast < 4.5)
      problems.push('contrast ' + contrast.toFixed(2) + ': ' + element.textContent.slice(0, 40));
    // What a box scrolls out of sight overlaps nothing.
    if (element.closest('.wide,.log')) continue;
    for (const text of texts) {
      const range = document.createRange();
      range.selectNodeContents(text);
      for (const box of range.getClientRects()) boxes.push([box, text.data.trim().slice(0, 40)]);
    }
  }
  for (const [i, [a, first]] of boxes.entries())
    for (const [b, second] of boxes.slice(i + 1))
      if (Math.min(a.right, b.right) - Math.max(a.left, b.left) > 1.5 &&
          Math.min(a.bottom, b.bottom) - Math.max(a.top, b.top) > 3.5)
        problems.push('"' + first + '" overlaps "' + second + '"');

  if (!isReport) return problems;
  const input = document.querySelector('.filter input');
  input.value = 'FAN SLOW';
  input.dispatchEvent(new Event('input'));
  const shown = [...document.querySelectorAll('.log li')].filter(line => !line.hidden).length;
  if (shown != 1) problems.push('the filter shows ' + shown + ' lines');
  input.value = '';
  input.dispatchEvent(new Event('input'));
  return problems;
})()
"""


class Browser:
    """Chromium, driven over a pipe by its DevTools protocol."""

    def __init__(self, chromium, profile):
        command_in, self._commands = os.pipe()
        self._answers, answer_out = os.pipe()

        def connect():
            os.dup2(command_in, 13)
            os.dup2(answer_out, 14)
            os.dup2(13, 3)
            os.dup2(14, 4)

        self.process = subprocess.Popen(
            [chromium, '--headless', '--no-sandbox', '--disable-gpu', '--disable-quic',
             '--no-first-run', '--disable-background-networking', '--disable-component-update',
             '--disable-sync', '--user-data-dir=' + profile, '--remote-debugging-pipe',
             'about:blank'],
            preexec_fn=connect, close_fds=False, stderr=subprocess.DEVNULL)
        os.close(command_in)
        os.close(answer_out)
        self._buffer = b''
        self._id = 0
        self.events = []
        target = self.call('Target.createTarget', url='about:blank')['targetId']
        self._session = None
        self._session = self.call('Target.attachToTarget', targetId=target, flatten=True)['sessionId']

    _session = None

    def _message(self):
        while b'\0' not in self._buffer:
            data = os.read(self._answers, 1 << 16)
            if not data:
                raise SystemExit('the browser went away')
            self._buffer += data
        text, self._buffer = self._buffer.split(b'\0', 1)
        return json.loads(text)

    def call(self, method, **parameters):
        self._id += 1
        command = {'id': self._id, 'method': method, 'params': parameters}
        if self._session:
            command['sessionId'] = self._session
        os.write(self._commands, json.dumps(command).encode() + b'\0')
        while True:
            message = self._message()
            if message.get('id') == self._id:
                if 'error' in message:
                    raise SystemExit(f'{method}: {message["error"]}')
                return message['result']
            self.events.append(message)

    def wait_for(self, method):
        while not any(event.get('method') == method for event in self.events):
            self.events.append(self._message())


def make_pages(corvane, folder):
    """Makes the pages and returns their paths."""
    unit = os.path.join(folder, 'unit')
    run = lambda *arguments: subprocess.run(
        [corvane, *arguments], check=True, env={**os.environ, 'CORVANE_DEVICE': unit},
        stdout=subprocess.DEVNULL)
    run('device', 'init', '--model', 'T34' + HOSTILE, '--boot-args', 'a=1 ' + HOSTILE)
    run('status', 'set', '20', '--status', 'failed', '--count', '2')
    run('status', 'set', '21', '--status', 'passed')
    run('status', 'set', '22', '--status', 'incomplete')
    run('poison', 'set', '23')
    run('record', 'add', '<b onclick=x>', '--station', '7', '--result', '0')
    run('record', 'add', '</q><script>', '--station', '8', '--result', '2')
    run('syscfg', 'set', 'OPTS', HOSTILE)
    run('syscfg', 'set', '<b>"', 'short')
    run('log', 'write', HOSTILE, '--test', HOSTILE)
    run('log', 'write', 'fan slow')
    run('log', 'write', 'two lines\n' + HOSTILE + '\x1b[31m')
    dump = os.path.join(folder, '<img src=x onerror=hacked=1>.bin')
    with open(dump, 'wb') as file:
        file.write(b'gfCS' + bytes(range(256)) * 32)
    recording = os.path.join(folder, 'recording.jsonl')
    run('ps', '--record', recording, '--for', '1', '--every', '0.5')
    page = os.path.join(folder, 'page.html')
    run('report', unit, dump, '--recording', recording, '-o', page)
    results = os.path.join(folder, 'results.jsonl')
    line = {'schema': 1, 'run': '1', 'station': HOSTILE + 'N' * 999, 'unit': HOSTILE, 'time': '2026-11-21T08:30:00Z'}
    with open(results, 'w') as file:
        for more in ({'type': 'begin'}, {'type': 'phase', 'phase': HOSTILE, 'verdict': 'failed'},
                     {'type': 'measurement', 'phase': 'a', 'name': HOSTILE, 'value': 1e308, 'lower': -1e308},
                     {'type': 'end', 'verdict': 'failed', 'reason': HOSTILE}):
            file.write(json.dumps({**line, **more}) + '\n')
    summary = os.path.join(folder, 'summary.html')
    run('results', results, '--html', summary)
    return page, summary


def look(browser, page, pictures):
    """Returns what is wrong with the page."""
    for domain in ('Page', 'Runtime', 'Log', 'Network'):
        browser.call(domain + '.enable')
    problems = []
    for width in (360, 1280):
        for medium, scheme in (('screen', 'light'), ('screen', 'dark'), ('print', 'dark')):
            browser.events.clear()
            browser.call('Emulation.setDeviceMetricsOverride', width=width, height=900,
                         deviceScaleFactor=1, mobile=False)
            browser.call('Emulation.setEmulatedMedia', media=medium,
                         features=[{'name': 'prefers-color-scheme', 'value': scheme}])
            browser.call('Page.navigate', url='file://' + page)
            browser.wait_for('Page.loadEventFired')
            answer = browser.call('Runtime.evaluate', expression=CHECK, returnByValue=True)
            found = answer['result'].get('value') or []
            if 'exceptionDetails' in answer:
                found.append(str(answer['exceptionDetails']))
            for event in browser.events:
                if event['method'] in ('Runtime.consoleAPICalled', 'Runtime.exceptionThrown',
                                       'Log.entryAdded', 'Page.javascriptDialogOpening'):
                    found.append(json.dumps(event['params'])[:300])
                if event['method'] == 'Network.requestWillBeSent':
                    url = event['params']['request']['url']
                    if url != 'file://' + page and not url.startswith('data:'):
                        found.append('loads ' + url)
            problems += [f'{os.path.basename(page)}, {medium}, {width} pixels, {scheme}: {text}'
                         for text in found]
            if pictures:
                picture = browser.call('Page.captureScreenshot', captureBeyondViewport=True)
                with open(os.path.join(pictures, f'{os.path.basename(page)}-{medium}-{scheme}-{width}.png'), 'wb') as file:
                    file.write(base64.b64decode(picture['data']))
    return problems


def main():
    corvane, chromium = sys.argv[1:3]
    if not shutil.which(chromium):
        sys.exit('there is no ' + chromium + '; script/bootstrap installs it')
    pictures = sys.argv[3] if len(sys.argv) > 3 else None
    with tempfile.TemporaryDirectory() as folder:
        pages = make_pages(corvane, folder)
        browser = Browser(chromium, os.path.join(folder, 'profile'))
        try:
            problems = [text for page in pages for text in look(browser, page, pictures)]
        finally:
            browser.process.terminate()
            browser.process.wait()
    for problem in problems:
        print(problem)
    sys.exit(1 if problems else 0)


main()
