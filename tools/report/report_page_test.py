#!/usr/bin/env python3
"""Looks at the pages of `corvane report` and `corvane results` in a headless Chromium.

    report_page_test.py CORVANE CHROMIUM

Makes a unit and results whose texts are hostile, and checks in both colour schemes and in print,
in a narrow and a wide frame, that the page has all its sections, loads nothing, says nothing on
the console, runs no text of the unit, overlaps nowhere and can be read.
"""
import html
import json
import os
import re
import shutil
import subprocess
import sys
import tempfile
import time

HOSTILE = '"><img src=x onerror="window.hacked=1"><script>window.hacked=1</script>\'&amp;'

# Shows the pages in frames, and tells what is wrong with each.
FRAMES = r"""<!DOCTYPE html>
<body><pre>not looked at</pre>
<script>
const problemsOf = ({contentWindow: window, contentDocument: document}, medium) => {
  const {getComputedStyle} = window;
  const problems = window.performance.getEntriesByType('resource').map(({name}) => 'loads ' + name);
  for (const sheet of medium == 'print' ? document.styleSheets : [])
    for (const {media} of sheet.cssRules)
      if (media) media.mediaText = media.mediaText.replace('print', 'all').replace('screen', 'not all');
  const isReport = document.title == 'Unit report';
  const titles = [...document.querySelectorAll('h2,h3')].map(title => title.textContent);
  for (const title of ['What it is', 'Control-bit bytes', 'Records', 'Configuration area',
                       'Findings in the configuration area', 'Boot arguments', 'Test log', 'Processor use'])
    if (isReport && !titles.includes(title)) problems.push('no section ' + title);
  if (document.querySelectorAll('td span[title]').length % 128) problems.push('grid is not of 128');
  if (document.documentElement.scrollWidth > window.innerWidth) problems.push('wider than the window');
  if (window.hacked || document.querySelector('script,img'))
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
  if (medium == 'print' && luminance(background(document.body)) < 1)
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

  return problems;
};

const frames = [];
for (const page of ['page.html', 'summary.html'])
  for (const width of [360, 1280])
    for (const [medium, scheme] of [['screen', 'light'], ['screen', 'dark'], ['print', 'dark']]) {
      const frame = document.createElement('iframe');
      Object.assign(frame, {src: page, height: 900, width});
      frame.style.colorScheme = scheme;
      document.body.append(frame);
      frames.push([frame, medium, `${page}, ${medium}, ${width} pixels, ${scheme}: `]);
    }
onload = () => {
  document.querySelector('pre').textContent = frames.flatMap(
      ([frame, medium, place]) => problemsOf(frame, medium).map(problem => place + problem + '\n')).join('');
};
</script>
"""


def make_pages(corvane, folder):
    """Makes page.html and summary.html in the folder."""
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
    with open(recording, 'w') as file, subprocess.Popen([corvane, 'ps', '--watch', '0.5', '--json'], stdout=file) as watch:
        while b'\n' not in open(recording, 'rb').read():
            time.sleep(0.1)
        watch.kill()
    run('report', unit, dump, '--recording', recording, '-o', os.path.join(folder, 'page.html'))
    results = os.path.join(folder, 'results.jsonl')
    line = {'schema': 1, 'run': '1', 'station': HOSTILE + 'N' * 999, 'unit': HOSTILE, 'time': '2026-11-21T08:30:00Z'}
    with open(results, 'w') as file:
        for more in ({'type': 'begin'}, {'type': 'phase', 'phase': HOSTILE, 'verdict': 'failed'},
                     {'type': 'measurement', 'phase': 'a', 'name': HOSTILE, 'value': 1e308, 'lower': -1e308},
                     {'type': 'end', 'verdict': 'failed', 'reason': HOSTILE}):
            file.write(json.dumps({**line, **more}) + '\n')
    run('results', results, '--html', os.path.join(folder, 'summary.html'))


def look_at(chromium, folder, page, *options):
    return subprocess.run(
        [chromium, '--headless', '--no-sandbox', '--disable-gpu', '--no-first-run',
         '--disable-background-networking', '--disable-component-update', '--disable-sync',
         '--user-data-dir=' + os.path.join(folder, 'profile'), '--allow-file-access-from-files',
         '--enable-logging=stderr', *options, '--dump-dom', 'file://' + page],
        check=True, capture_output=True, text=True)


def accessibility_of(chromium, folder):
    """Returns what the checks of axe-core find wrong with the pages."""
    script = os.path.join(folder, 'node_modules/axe-core/axe.min.js')
    if not shutil.which('npm') or subprocess.run(
            ['npm', 'install', '--prefix', folder, '--no-audit', '--no-fund', '--silent', 'axe-core@4'],
            stdout=subprocess.DEVNULL, timeout=120).returncode:
        print('skipped the accessibility checks: npm cannot install axe-core')
        return 'axe-core is needed where CI is set' if os.environ.get('CI') else ''
    problems = ''
    for name in ('page.html', 'summary.html'):
        with open(os.path.join(folder, name), encoding='utf-8') as page, open(script, encoding='utf-8') as axe:
            text = re.sub('<meta http-equiv="Content-Security-Policy"[^>]*>', '', page.read())
            text += '<script>' + axe.read() + """</script><script>
                axe.run().then(({violations}) => { document.body.textContent = violations.map(
                  ({id, nodes}) => id + ': ' + nodes[0].html.slice(0, 200) + '\\n').join('') + 'all was checked'; });
                </script>"""
        checked = os.path.join(folder, 'checked-' + name)
        with open(checked, 'w', encoding='utf-8') as file:
            file.write(text)
        body = look_at(chromium, folder, checked, '--virtual-time-budget=60000').stdout.split('<body')[-1]
        found = html.unescape(re.sub('<[^>]*>', '', '<body' + body)).strip()
        if found != 'all was checked':
            problems += name + ': ' + found[-3000:] + '\n'
    return problems


def main():
    corvane, chromium = sys.argv[1:]
    with tempfile.TemporaryDirectory() as folder:
        make_pages(corvane, folder)
        frames = os.path.join(folder, 'frames.html')
        with open(frames, 'w', encoding='utf-8') as file:
            file.write(FRAMES)
        browser = look_at(chromium, folder, frames)
        accessibility = accessibility_of(chromium, folder)
    problems = html.unescape(re.search('<pre>(.*?)</pre>', browser.stdout, re.DOTALL)[1])
    problems += ''.join(re.findall('.*:CONSOLE.*\n', browser.stderr))
    sys.exit(problems + accessibility or 0)


main()
