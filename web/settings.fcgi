<!doctype html>
<html lang="en">
<head>
<meta charset="utf-8">
<meta name="viewport" content="width=device-width, initial-scale=1, viewport-fit=cover">
<meta name="color-scheme" content="light dark">
<meta http-equiv="Content-Security-Policy" content="default-src 'self'; base-uri 'none'; form-action 'self'">
<title>Settings</title>
<link rel="icon" href="favicon.svg" type="image/svg+xml">
<link rel="manifest" href="manifest.json">
<meta name="theme-color" media="(prefers-color-scheme: light)" content="#f5f1e9">
<meta name="theme-color" media="(prefers-color-scheme: dark)" content="#14120f">
<link rel="stylesheet" href="style.css">
<script type="module" src="js/settings.js"></script>
</head>
<body>
<a class="skip" href="#main">Skip to the content</a>
<header class="bar">
  <span class="brand"><img src="favicon.svg" alt="" width="28" height="28"><span id="deviceName" dir="auto"><?plix getData path="settings:/device/name" roles="value" escape="html" onError="Plix"?></span></span>
  <span id="connection" role="status"></span>
</header>
<nav class="dock" aria-label="Pages">
  <a href="index.html"><svg class="icon" aria-hidden="true"><use href="icons.svg#note"/></svg>Player</a>
  <a href="settings.fcgi" aria-current="page"><svg class="icon" aria-hidden="true"><use href="icons.svg#settings"/></svg>Settings</a>
  <a href="update.html"><svg class="icon" aria-hidden="true"><use href="icons.svg#update"/></svg>Update</a>
  <a href="data.html"><svg class="icon" aria-hidden="true"><use href="icons.svg#data"/></svg>Data model</a>
</nav>
<main id="main" class="sheet">
  <h1>Settings</h1>
  <form class="card" method="post" action="save-name.fcgi" data-path="settings:/device/name" data-type="string_">
    <input type="hidden" name="done" value="Device name saved"><input type="hidden" name="failed" value="Device name not saved">
    <div class="field">
      <label for="name">Device name</label>
      <input id="name" name="value" dir="auto" required maxlength="60" autocomplete="off"
        value="<?plix getData path="settings:/device/name" roles="value" escape="html" onError=""?>">
      <p class="hint">How this device is called on your network and at the top of these pages.</p>
    </div>
    <p class="outcome" role="status"></p>
    <div class="actions"><button class="action" aria-label="Save: Device name">Save</button></div>
  </form>
  <form class="card" method="post" action="save-language.fcgi" data-path="settings:/ui/language" data-type="string_">
    <input type="hidden" name="done" value="Language saved"><input type="hidden" name="failed" value="Language not saved">
    <div class="field">
      <label for="language">Language</label>
      <select id="language" name="value" >
        <option selected><?plix getData path="settings:/ui/language" roles="value" escape="html" onError="en"?></option>
        <option value="en">English (en)</option><option value="de">Deutsch (de)</option><option value="es">Español (es)</option>
        <option value="fr">Français (fr)</option><option value="it">Italiano (it)</option><option value="nl">Nederlands (nl)</option>
        <option value="pl">Polski (pl)</option><option value="sv">Svenska (sv)</option><option value="ja">日本語 (ja)</option>
      </select>
      <p class="hint">Of these pages, as far as they know it, and of what the device announces to apps.</p>
    </div>
    <p class="outcome" role="status"></p>
    <div class="actions"><button class="action" aria-label="Save: Language">Save</button></div>
  </form>
  <form class="card" method="post" action="save-volume.fcgi" data-path="settings:/player/volume" data-type="i32_">
    <input type="hidden" name="done" value="Default volume saved"><input type="hidden" name="failed" value="Default volume not saved: it goes from 0 to 100">
    <div class="field">
      <label for="volume">Default volume</label>
      <input id="volume" name="value" type="number" min="0" max="100" required
        value="<?plix getData path="settings:/player/volume" roles="value" escape="html" onError=""?>">
      <p class="hint">From 0 to 100; how loud the device is after it has started.</p>
    </div>
    <p class="outcome" role="status"></p>
    <div class="actions"><button class="action" aria-label="Save: Default volume">Save</button></div>
  </form>
</main>
</body>
</html>
