<!doctype html>
<!-- SPDX-License-Identifier: MIT -->
<html lang="<?plix getData path="SoupServer:texts/@lang" roles="value" escape="html"?>" dir="<?plix getData path="SoupServer:texts/@dir" roles="value" escape="html"?>">
<head>
<meta charset="utf-8">
<meta name="viewport" content="width=device-width, initial-scale=1, viewport-fit=cover">
<meta name="color-scheme" content="light dark">
<meta http-equiv="Content-Security-Policy" content="default-src 'self'; base-uri 'none'; form-action 'self'">
<title><?plix getData path="SoupServer:texts/Settings" roles="value" escape="html"?></title>
<link rel="icon" href="favicon.svg" type="image/svg+xml">
<link rel="manifest" href="manifest.json">
<meta name="theme-color" media="(prefers-color-scheme: light)" content="#f5f1e9">
<meta name="theme-color" media="(prefers-color-scheme: dark)" content="#14120f">
<link rel="stylesheet" href="style.css">
<link rel="stylesheet" href="forms.css">
<link rel="stylesheet" href="sheet.css">
<script type="module" src="js/settings.js"></script>
</head>
<body>
<a class="skip" href="#main"><?plix getData path="SoupServer:texts/Skip to the content" roles="value" escape="html"?></a>
<header class="bar">
  <span class="brand"><img src="favicon.svg" alt="" width="28" height="28"><span id="deviceName" dir="auto"><?plix getData path="settings:/device/name" roles="value" escape="html" onError="Plix"?></span></span>
  <span id="connection" role="status"></span>
</header>
<nav class="dock" aria-label="<?plix getData path="SoupServer:texts/Pages" roles="value" escape="html"?>">
  <a href="index.html"><svg class="icon" aria-hidden="true"><use href="icons.svg#note"/></svg><?plix getData path="SoupServer:texts/Player" roles="value" escape="html"?></a>
  <a href="settings.fcgi" aria-current="page"><svg class="icon" aria-hidden="true"><use href="icons.svg#settings"/></svg><?plix getData path="SoupServer:texts/Settings" roles="value" escape="html"?></a>
  <a href="update.html"><svg class="icon" aria-hidden="true"><use href="icons.svg#update"/></svg><?plix getData path="SoupServer:texts/Update" roles="value" escape="html"?></a>
  <a href="data.html"><svg class="icon" aria-hidden="true"><use href="icons.svg#data"/></svg><?plix getData path="SoupServer:texts/Data model" roles="value" escape="html"?></a>
</nav>
<main id="main" class="sheet">
  <h1><?plix getData path="SoupServer:texts/Settings" roles="value" escape="html"?></h1>
  <form class="card" method="post" action="save-name.fcgi" data-path="settings:/device/name">
    <input type="hidden" name="type" value="PlixValue:string_"><input type="hidden" name="done" value="<?plix getData path="SoupServer:texts/Device name saved" roles="value" escape="html"?>"><input type="hidden" name="failed" value="<?plix getData path="SoupServer:texts/Device name not saved" roles="value" escape="html"?>">
    <div class="field">
      <label for="name"><?plix getData path="SoupServer:texts/Device name" roles="value" escape="html"?></label>
      <input id="name" name="value" dir="auto" required maxlength="60" autocomplete="off"
        value="<?plix getData path="settings:/device/name" roles="value" escape="html" onError=""?>">
      <p class="hint"><?plix getData path="SoupServer:texts/How this device is called on your network and at the top of these pages." roles="value" escape="html"?></p>
    </div>
    <p class="outcome" role="status"></p>
    <div class="actions"><button class="action" aria-label="<?plix getData path="SoupServer:texts/Save: Device name" roles="value" escape="html"?>"><?plix getData path="SoupServer:texts/Save" roles="value" escape="html"?></button></div>
  </form>
  <form class="card" method="post" action="save-language.fcgi" data-path="settings:/ui/language">
    <input type="hidden" name="type" value="PlixValue:string_"><input type="hidden" name="done" value="<?plix getData path="SoupServer:texts/Language saved" roles="value" escape="html"?>"><input type="hidden" name="failed" value="<?plix getData path="SoupServer:texts/Language not saved" roles="value" escape="html"?>">
    <div class="field">
      <label for="language"><?plix getData path="SoupServer:texts/Language" roles="value" escape="html"?></label>
      <select id="language" name="value">
        <option selected><?plix getData path="settings:/ui/language" roles="value" escape="html" onError="en"?></option>
        <option value="en">English (en)</option><option value="de">Deutsch (de)</option><option value="es">Español (es)</option>
        <option value="fr">Français (fr)</option><option value="it">Italiano (it)</option><option value="nl">Nederlands (nl)</option>
        <option value="pl">Polski (pl)</option><option value="sv">Svenska (sv)</option><option value="ja">日本語 (ja)</option>
      </select>
      <p class="hint"><?plix getData path="SoupServer:texts/Of these pages, as far as they know it, and of what the device announces to apps." roles="value" escape="html"?></p>
    </div>
    <p class="outcome" role="status"></p>
    <div class="actions"><button class="action" aria-label="<?plix getData path="SoupServer:texts/Save: Language" roles="value" escape="html"?>"><?plix getData path="SoupServer:texts/Save" roles="value" escape="html"?></button></div>
  </form>
  <form class="card" method="post" action="save-volume.fcgi" data-path="settings:/player/volume">
    <input type="hidden" name="type" value="PlixValue:i32_"><input type="hidden" name="done" value="<?plix getData path="SoupServer:texts/Default volume saved" roles="value" escape="html"?>"><input type="hidden" name="failed" value="<?plix getData path="SoupServer:texts/Default volume not saved: it goes from 0 to 100" roles="value" escape="html"?>">
    <div class="field">
      <label for="volume"><?plix getData path="SoupServer:texts/Default volume" roles="value" escape="html"?></label>
      <input id="volume" name="value" type="number" min="0" max="100" required
        value="<?plix getData path="settings:/player/volume" roles="value" escape="html" onError=""?>">
      <p class="hint"><?plix getData path="SoupServer:texts/From 0 to 100; how loud the device is after it has started." roles="value" escape="html"?></p>
    </div>
    <p class="outcome" role="status"></p>
    <div class="actions"><button class="action" aria-label="<?plix getData path="SoupServer:texts/Save: Default volume" roles="value" escape="html"?>"><?plix getData path="SoupServer:texts/Save" roles="value" escape="html"?></button></div>
  </form>
  <section class="card" aria-labelledby="aboutHeading">
    <h2 id="aboutHeading"><?plix getData path="SoupServer:texts/This device" roles="value" escape="html"?></h2>
    <dl class="facts">
      <dt><?plix getData path="SoupServer:texts/Firmware" roles="value" escape="html"?></dt><dd id="version" dir="auto"><?plix getData path="firmware:version" roles="value" escape="html" onError="–"?></dd>
      <dt><?plix getData path="SoupServer:texts/Host name" roles="value" escape="html"?></dt><dd dir="auto"><?plix getData path="network:hostname" roles="value" escape="html" onError="–"?></dd>
    </dl>
    <div class="actions"><a class="action second" href="network.fcgi"><?plix getData path="SoupServer:texts/Network and certificate" roles="value" escape="html"?></a></div>
  </section>
  <form class="card" id="restart" method="post" action="restart.fcgi" data-has="<?plix getData path="device:restart" roles="activate" escape="html" onError=""?>">
    <input type="hidden" name="done" value="<?plix getData path="SoupServer:texts/The device restarts. It is back after some seconds." roles="value" escape="html"?>"><input type="hidden" name="failed" value="<?plix getData path="SoupServer:texts/That did not work" roles="value" escape="html"?>">
    <h2><?plix getData path="SoupServer:texts/Restart" roles="value" escape="html"?></h2>
    <p class="hint"><?plix getData path="SoupServer:texts/Music stops. The device is back after some seconds." roles="value" escape="html"?></p>
    <p class="outcome" role="status"></p>
    <div class="actions"><button class="action second" name="action" value="restart"><?plix getData path="SoupServer:texts/Restart the device" roles="value" escape="html"?></button></div>
  </form>
</main>
</body>
</html>
