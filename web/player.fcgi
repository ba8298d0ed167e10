<!doctype html>
<!-- SPDX-License-Identifier: MIT -->
<html lang="<?plix getData path="SoupServer:texts/@lang" roles="value" escape="html"?>" dir="<?plix getData path="SoupServer:texts/@dir" roles="value" escape="html"?>">
<head>
<meta charset="utf-8">
<meta name="viewport" content="width=device-width, initial-scale=1, viewport-fit=cover">
<meta name="color-scheme" content="light dark">
<meta http-equiv="Content-Security-Policy" content="default-src 'self'; base-uri 'none'; form-action 'self'">
<title><?plix getData path="SoupServer:texts/Player" roles="value" escape="html"?></title>
<link rel="icon" href="favicon.svg" type="image/svg+xml">
<link rel="manifest" href="manifest.json">
<meta name="theme-color" media="(prefers-color-scheme: light)" content="#f5f1e9">
<meta name="theme-color" media="(prefers-color-scheme: dark)" content="#14120f">
<link rel="stylesheet" href="style.css">
<link rel="stylesheet" href="forms.css">
<link rel="stylesheet" href="sheet.css">
<script type="module" src="js/plain.js"></script>
</head>
<body>
<a class="skip" href="#main"><?plix getData path="SoupServer:texts/Skip to the content" roles="value" escape="html"?></a>
<header class="bar">
  <span class="brand"><img src="favicon.svg" alt="" width="28" height="28"><span id="deviceName" dir="auto"><?plix getData path="settings:/device/name" roles="value" escape="html" onError="Plix"?></span></span>
  <span id="connection" role="status"></span>
</header>
<nav class="dock" aria-label="<?plix getData path="SoupServer:texts/Pages" roles="value" escape="html"?>">
  <a href="index.html" aria-current="page"><svg class="icon" aria-hidden="true"><use href="icons.svg#note"/></svg><?plix getData path="SoupServer:texts/Player" roles="value" escape="html"?></a>
  <a href="settings.fcgi"><svg class="icon" aria-hidden="true"><use href="icons.svg#settings"/></svg><?plix getData path="SoupServer:texts/Settings" roles="value" escape="html"?></a>
  <a href="update.html"><svg class="icon" aria-hidden="true"><use href="icons.svg#update"/></svg><?plix getData path="SoupServer:texts/Update" roles="value" escape="html"?></a>
  <a href="data.html"><svg class="icon" aria-hidden="true"><use href="icons.svg#data"/></svg><?plix getData path="SoupServer:texts/Data model" roles="value" escape="html"?></a>
</nav>
<main id="main" class="sheet">
  <h1><?plix getData path="SoupServer:texts/Player" roles="value" escape="html"?></h1>
  <p class="notice"><span><?plix getData path="SoupServer:texts/This page works without JavaScript." roles="value" escape="html"?></span> <a href="index.html"><?plix getData path="SoupServer:texts/To the live player, with queue and library" roles="value" escape="html"?></a></p>
  <section class="card" aria-label="<?plix getData path="SoupServer:texts/Now playing" roles="value" escape="html"?>">
    <p dir="auto" id="track"><?plix getData path="player:player/track" roles="description" escape="html" onError=""?></p>
    <p><?plix getData path="SoupServer:texts/State:" roles="value" escape="html"?> <strong id="state" class="one" data-is="<?plix getData path="player:player/state" roles="value" escape="html" onError=""?>"><span class="playing"><?plix getData path="SoupServer:texts/playing" roles="value" escape="html"?></span><span class="paused"><?plix getData path="SoupServer:texts/paused" roles="value" escape="html"?></span><span class="stopped"><?plix getData path="SoupServer:texts/stopped" roles="value" escape="html"?></span></strong></p>
    <div class="actions">
      <form method="post" action="control.fcgi"><button class="action second" name="action" value="previous"><svg class="icon" aria-hidden="true"><use href="icons.svg#previous"/></svg><?plix getData path="SoupServer:texts/Previous" roles="value" escape="html"?></button></form>
      <form method="post" action="control.fcgi"><button class="action" name="action" value="play"><svg class="icon" aria-hidden="true"><use href="icons.svg#play"/></svg><?plix getData path="SoupServer:texts/Play" roles="value" escape="html"?></button></form>
      <form method="post" action="control.fcgi"><button class="action second" name="action" value="pause"><svg class="icon" aria-hidden="true"><use href="icons.svg#pause"/></svg><?plix getData path="SoupServer:texts/Pause" roles="value" escape="html"?></button></form>
      <form method="post" action="control.fcgi"><button class="action second" name="action" value="next"><svg class="icon" aria-hidden="true"><use href="icons.svg#next"/></svg><?plix getData path="SoupServer:texts/Next" roles="value" escape="html"?></button></form>
      <form method="post" action="control.fcgi"><button class="action second" name="action" value="stop"><svg class="icon" aria-hidden="true"><use href="icons.svg#stop"/></svg><?plix getData path="SoupServer:texts/Stop" roles="value" escape="html"?></button></form>
    </div>
  </section>
  <section class="card" aria-label="<?plix getData path="SoupServer:texts/Volume" roles="value" escape="html"?>">
    <form class="row" method="post" action="set-volume.fcgi">
      <input type="hidden" name="type" value="PlixValue:i32_">
      <div class="field"><label for="volume"><?plix getData path="SoupServer:texts/Volume, from 0 to 100" roles="value" escape="html"?></label><input id="volume" name="value" type="number" min="0" max="100" required value="<?plix getData path="player:player/volume" roles="value" escape="html" onError=""?>"></div>
      <button class="action"><?plix getData path="SoupServer:texts/Set" roles="value" escape="html"?></button>
    </form>
    <p><?plix getData path="SoupServer:texts/Muted:" roles="value" escape="html"?> <strong id="muted" class="one" data-is="<?plix getData path="player:player/mute" roles="value" escape="html" onError=""?>"><span class="true"><?plix getData path="SoupServer:texts/yes" roles="value" escape="html"?></span><span class="false"><?plix getData path="SoupServer:texts/no" roles="value" escape="html"?></span></strong></p>
    <div class="actions">
      <form method="post" action="set-mute.fcgi"><input type="hidden" name="type" value="PlixValue:bool_"><input type="hidden" name="value" value="true"><button class="action second"><svg class="icon" aria-hidden="true"><use href="icons.svg#muted"/></svg><?plix getData path="SoupServer:texts/Mute" roles="value" escape="html"?></button></form>
      <form method="post" action="set-mute.fcgi"><input type="hidden" name="type" value="PlixValue:bool_"><input type="hidden" name="value" value="false"><button class="action second"><svg class="icon" aria-hidden="true"><use href="icons.svg#volume"/></svg><?plix getData path="SoupServer:texts/Sound on" roles="value" escape="html"?></button></form>
    </div>
  </section>
  <p><a href="player.fcgi"><?plix getData path="SoupServer:texts/Read the state again" roles="value" escape="html"?></a></p>
</main>
</body>
</html>
