<!doctype html>
<!-- SPDX-License-Identifier: MIT -->
<html lang="<?plix getData path="SoupServer:texts/@lang" roles="value" escape="html"?>" dir="<?plix getData path="SoupServer:texts/@dir" roles="value" escape="html"?>">
<head>
<meta charset="utf-8">
<meta name="viewport" content="width=device-width, initial-scale=1, viewport-fit=cover">
<meta name="color-scheme" content="light dark">
<meta http-equiv="Content-Security-Policy" content="default-src 'self'; base-uri 'none'; form-action 'self'">
<title><?plix getData path="SoupServer:texts/Update" roles="value" escape="html"?></title>
<link rel="icon" href="favicon.svg" type="image/svg+xml">
<link rel="manifest" href="manifest.json">
<meta name="theme-color" media="(prefers-color-scheme: light)" content="#f5f1e9">
<meta name="theme-color" media="(prefers-color-scheme: dark)" content="#14120f">
<link rel="stylesheet" href="style.css">
<link rel="stylesheet" href="forms.css">
<link rel="stylesheet" href="sheet.css">
<script type="module" src="js/updated.js"></script>
</head>
<body>
<a class="skip" href="#main"><?plix getData path="SoupServer:texts/Skip to the content" roles="value" escape="html"?></a>
<header class="bar">
  <span class="brand"><img src="favicon.svg" alt="" width="28" height="28"><span id="deviceName" dir="auto"><?plix getData path="settings:/device/name" roles="value" escape="html" onError="Plix"?></span></span>
  <span id="connection" role="status"></span>
</header>
<nav class="dock" aria-label="<?plix getData path="SoupServer:texts/Pages" roles="value" escape="html"?>">
  <a href="index.html"><svg class="icon" aria-hidden="true"><use href="icons.svg#note"/></svg><?plix getData path="SoupServer:texts/Player" roles="value" escape="html"?></a>
  <a href="settings.fcgi"><svg class="icon" aria-hidden="true"><use href="icons.svg#settings"/></svg><?plix getData path="SoupServer:texts/Settings" roles="value" escape="html"?></a>
  <a href="update.html" aria-current="page"><svg class="icon" aria-hidden="true"><use href="icons.svg#update"/></svg><?plix getData path="SoupServer:texts/Update" roles="value" escape="html"?></a>
  <a href="data.html"><svg class="icon" aria-hidden="true"><use href="icons.svg#data"/></svg><?plix getData path="SoupServer:texts/Data model" roles="value" escape="html"?></a>
</nav>
<main id="main" class="sheet">
  <h1><?plix getData path="SoupServer:texts/Update" roles="value" escape="html"?></h1>
  <p class="notice"><span><?plix getData path="SoupServer:texts/This page works without JavaScript." roles="value" escape="html"?></span> <a href="update.html"><?plix getData path="SoupServer:texts/To the update step by step" roles="value" escape="html"?></a></p>
  <section class="card" aria-labelledby="firmwareHeading">
    <h2 id="firmwareHeading"><?plix getData path="SoupServer:texts/Firmware" roles="value" escape="html"?></h2>
    <dl class="facts">
      <dt><?plix getData path="SoupServer:texts/Now running" roles="value" escape="html"?></dt><dd dir="auto"><?plix getData path="firmware:version" roles="value" escape="html" onError="–"?></dd>
      <dt><?plix getData path="SoupServer:texts/After the next start" roles="value" escape="html"?></dt><dd id="pending" dir="auto"><?plix getData path="firmware:pending" roles="value" escape="html" onError="–"?></dd>
    </dl>
    <p class="outcome" id="updater" role="status"></p>
    <div class="field" id="hashField" hidden>
      <span class="label">SHA-256</span>
      <code class="hash" id="hash"></code>
    </div>
    <noscript><p><a href="/api/getData?path=firmware:update&amp;roles=value"><?plix getData path="SoupServer:texts/What the updater says" roles="value" escape="html"?></a></p></noscript>
  </section>
  <form class="card" method="post" action="update.fcgi?firmwareupdate=1" enctype="multipart/form-data">
    <div class="field"><label for="image"><?plix getData path="SoupServer:texts/Firmware image" roles="value" escape="html"?></label><input type="file" id="image" name="image" required></div>
    <p class="hint"><?plix getData path="SoupServer:texts/Keep the device powered until the update is done." roles="value" escape="html"?></p>
    <div class="actions"><button class="action"><?plix getData path="SoupServer:texts/Send to the device" roles="value" escape="html"?></button></div>
  </form>
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
