<!doctype html>
<html lang="en">
<head>
<meta charset="utf-8">
<meta name="viewport" content="width=device-width, initial-scale=1, viewport-fit=cover">
<meta name="color-scheme" content="light dark">
<meta http-equiv="Content-Security-Policy" content="default-src 'self'; base-uri 'none'; form-action 'self'">
<title>Update</title>
<link rel="icon" href="favicon.svg" type="image/svg+xml">
<link rel="manifest" href="manifest.json">
<meta name="theme-color" media="(prefers-color-scheme: light)" content="#f5f1e9">
<meta name="theme-color" media="(prefers-color-scheme: dark)" content="#14120f">
<link rel="stylesheet" href="style.css">
<script type="module" src="js/updated.js"></script>
</head>
<body>
<a class="skip" href="#main">Skip to the content</a>
<header class="bar">
  <span class="brand"><img src="favicon.svg" alt="" width="28" height="28"><span id="deviceName" dir="auto"><?plix getData path="settings:/device/name" roles="value" escape="html" onError="Plix"?></span></span>
  <span id="connection" role="status"></span>
</header>
<nav class="dock" aria-label="Pages">
  <a href="index.html"><svg class="icon" aria-hidden="true"><use href="icons.svg#note"/></svg>Player</a>
  <a href="settings.fcgi"><svg class="icon" aria-hidden="true"><use href="icons.svg#settings"/></svg>Settings</a>
  <a href="update.html" aria-current="page"><svg class="icon" aria-hidden="true"><use href="icons.svg#update"/></svg>Update</a>
  <a href="data.html"><svg class="icon" aria-hidden="true"><use href="icons.svg#data"/></svg>Data model</a>
</nav>
<main id="main" class="sheet">
  <h1>Update</h1>
  <div class="card">
    <p>The image has gone through to the updater.</p>
    <p class="outcome" id="updater" role="status"></p>
    <div class="field" id="hashField" hidden>
      <span class="label">SHA-256</span>
      <code class="hash" id="hash"></code>
    </div>
    <noscript><p class="hint">What the updater says: <a href="/api/getData?path=firmware:update&amp;roles=value">state, bytes and SHA-256</a>.</p></noscript>
    <div class="actions"><a class="action second" href="update.html">Send another image</a></div>
  </div>
</main>
</body>
</html>
