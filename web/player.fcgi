<!doctype html>
<html lang="en">
<head>
<meta charset="utf-8">
<meta name="viewport" content="width=device-width, initial-scale=1, viewport-fit=cover">
<meta name="color-scheme" content="light dark">
<meta http-equiv="Content-Security-Policy" content="default-src 'self'; base-uri 'none'; form-action 'self'">
<title>Player</title>
<link rel="icon" href="favicon.svg" type="image/svg+xml">
<link rel="manifest" href="manifest.json">
<meta name="theme-color" media="(prefers-color-scheme: light)" content="#f5f1e9">
<meta name="theme-color" media="(prefers-color-scheme: dark)" content="#14120f">
<link rel="stylesheet" href="style.css">
<script type="module" src="js/plain.js"></script>
</head>
<body>
<a class="skip" href="#main">Skip to the content</a>
<header class="bar">
  <span class="brand"><img src="favicon.svg" alt="" width="28" height="28"><span id="deviceName" dir="auto"><?plix getData path="settings:/device/name" roles="value" escape="html" onError="Plix"?></span></span>
  <span id="connection" role="status"></span>
</header>
<nav class="dock" aria-label="Pages">
  <a href="index.html" aria-current="page"><svg class="icon" aria-hidden="true"><use href="icons.svg#note"/></svg>Player</a>
  <a href="settings.fcgi"><svg class="icon" aria-hidden="true"><use href="icons.svg#settings"/></svg>Settings</a>
  <a href="update.html"><svg class="icon" aria-hidden="true"><use href="icons.svg#update"/></svg>Update</a>
  <a href="data.html"><svg class="icon" aria-hidden="true"><use href="icons.svg#data"/></svg>Data model</a>
</nav>
<main id="main" class="sheet">
  <h1>Player</h1>
  <p class="notice"><span>This page works without JavaScript.</span> <a href="index.html">To the live player, with queue and library</a></p>
  <section class="card" aria-label="Now playing">
    <p dir="auto" id="track"><?plix getData path="player:player/track" roles="description" escape="html" onError=""?></p>
    <p>State: <strong id="state"><?plix getData path="player:player/state" roles="value" escape="html" onError="unknown"?></strong></p>
    <div class="actions">
      <form method="post" action="control.fcgi"><input type="hidden" name="done" value="Done"><input type="hidden" name="failed" value="That did not work"><button class="action second" name="action" value="previous"><svg class="icon" aria-hidden="true"><use href="icons.svg#previous"/></svg>Previous</button></form>
      <form method="post" action="control.fcgi"><input type="hidden" name="done" value="Done"><input type="hidden" name="failed" value="That did not work"><button class="action" name="action" value="play"><svg class="icon" aria-hidden="true"><use href="icons.svg#play"/></svg>Play</button></form>
      <form method="post" action="control.fcgi"><input type="hidden" name="done" value="Done"><input type="hidden" name="failed" value="That did not work"><button class="action second" name="action" value="pause"><svg class="icon" aria-hidden="true"><use href="icons.svg#pause"/></svg>Pause</button></form>
      <form method="post" action="control.fcgi"><input type="hidden" name="done" value="Done"><input type="hidden" name="failed" value="That did not work"><button class="action second" name="action" value="next"><svg class="icon" aria-hidden="true"><use href="icons.svg#next"/></svg>Next</button></form>
      <form method="post" action="control.fcgi"><input type="hidden" name="done" value="Done"><input type="hidden" name="failed" value="That did not work"><button class="action second" name="action" value="stop"><svg class="icon" aria-hidden="true"><use href="icons.svg#stop"/></svg>Stop</button></form>
    </div>
  </section>
  <section class="card" aria-label="Volume">
    <form class="row" method="post" action="set-volume.fcgi">
      <input type="hidden" name="done" value="Done"><input type="hidden" name="failed" value="That did not work">
      <div class="field"><label for="volume">Volume, from 0 to 100</label><input id="volume" name="value" type="number" min="0" max="100" required value="<?plix getData path="player:player/volume" roles="value" escape="html" onError=""?>"></div>
      <button class="action">Set</button>
    </form>
    <p>Muted: <strong id="muted"><?plix getData path="player:player/mute" roles="value" escape="html" onError="unknown"?></strong></p>
    <div class="actions">
      <form method="post" action="set-mute.fcgi"><input type="hidden" name="done" value="Done"><input type="hidden" name="failed" value="That did not work"><input type="hidden" name="value" value="true"><button class="action second"><svg class="icon" aria-hidden="true"><use href="icons.svg#muted"/></svg>Mute</button></form>
      <form method="post" action="set-mute.fcgi"><input type="hidden" name="done" value="Done"><input type="hidden" name="failed" value="That did not work"><input type="hidden" name="value" value="false"><button class="action second"><svg class="icon" aria-hidden="true"><use href="icons.svg#volume"/></svg>Sound on</button></form>
    </div>
  </section>
  <p><a href="player.fcgi">Read the state again</a></p>
</main>
</body>
</html>
