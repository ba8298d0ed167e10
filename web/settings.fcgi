<!doctype html>
<html lang="en">
<head>
<meta charset="utf-8">
<meta name="viewport" content="width=device-width, initial-scale=1, viewport-fit=cover">
<meta name="color-scheme" content="light dark">
<meta http-equiv="Content-Security-Policy" content="default-src 'self'; base-uri 'none'; form-action 'self'">
<title>Settings</title>
<link rel="icon" href="favicon.svg" type="image/svg+xml">
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
  <form class="card" method="post" action="save.fcgi" id="settings">
    <input type="hidden" name="typed" value="_">
    <div class="field">
      <label for="name">Device name</label>
      <input id="name" name="name" dir="auto" required maxlength="60" autocomplete="off" aria-describedby="nameHint"
        value="<?plix getData path="settings:/device/name" roles="value" escape="html" onError=""?>">
      <p class="hint" id="nameHint">How this device is called on your network and at the top of these pages.</p>
    </div>
    <div class="field">
      <label for="language">Language</label>
      <select id="language" name="language" aria-describedby="languageHint">
        <option selected><?plix getData path="settings:/ui/language" roles="value" escape="html" onError="en"?></option>
        <option value="en">English (en)</option><option value="de">Deutsch (de)</option><option value="es">Español (es)</option>
        <option value="fr">Français (fr)</option><option value="it">Italiano (it)</option><option value="nl">Nederlands (nl)</option>
        <option value="pl">Polski (pl)</option><option value="sv">Svenska (sv)</option><option value="ja">日本語 (ja)</option>
      </select>
      <p class="hint" id="languageHint">What the device announces to apps. These pages are in English.</p>
    </div>
    <div class="field">
      <label for="volume">Default volume</label>
      <input id="volume" name="volume" type="number" min="0" max="100" required aria-describedby="volumeHint"
        value="<?plix getData path="settings:/player/volume" roles="value" escape="html" onError=""?>">
      <p class="hint" id="volumeHint">From 0 to 100; how loud the device is after it has started.</p>
    </div>
    <div class="actions"><button class="action">Save</button></div>
  </form>
</main>
</body>
</html>
