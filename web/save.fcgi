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
  <!-- Without the form's part of their types the values are none that a setting takes. The writes
       stand before the fields, which so show what is stored now. -->
  <form class="card" method="post" action="save.fcgi" id="settings">
    <input type="hidden" name="typed" value="_">
    <div class="field">
      <label for="name">Device name</label>
      <p class="outcome" role="status"><?plix setData path="settings:/device/name" role="value" type="PlixValue:string$typed" value="$name" onSuccess="Device name saved" onError="Device name not saved" escape="html"?></p>
      <input id="name" name="name" dir="auto" required maxlength="60" autocomplete="off"
        value="<?plix getData path="settings:/device/name" roles="value" escape="html" onError=""?>">
    </div>
    <div class="field">
      <label for="language">Language</label>
      <p class="outcome" role="status"><?plix setData path="settings:/ui/language" role="value" type="PlixValue:string$typed" value="$language" onSuccess="Language saved" onError="Language not saved" escape="html"?></p>
      <select id="language" name="language">
        <option selected><?plix getData path="settings:/ui/language" roles="value" escape="html" onError="en"?></option>
        <option value="en">English (en)</option><option value="de">Deutsch (de)</option><option value="es">Español (es)</option>
        <option value="fr">Français (fr)</option><option value="it">Italiano (it)</option><option value="nl">Nederlands (nl)</option>
        <option value="pl">Polski (pl)</option><option value="sv">Svenska (sv)</option><option value="ja">日本語 (ja)</option>
      </select>
    </div>
    <div class="field">
      <label for="volume">Default volume</label>
      <p class="outcome" role="status"><?plix setData path="settings:/player/volume" role="value" type="PlixValue:i32$typed" value="$volume" onSuccess="Default volume saved" onError="Default volume not saved: it goes from 0 to 100" escape="html"?></p>
      <input id="volume" name="volume" type="number" min="0" max="100" required
        value="<?plix getData path="settings:/player/volume" roles="value" escape="html" onError=""?>">
    </div>
    <div class="actions"><button class="action">Save</button></div>
  </form>
</main>
</body>
</html>
