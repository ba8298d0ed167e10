<!doctype html>
<!-- SPDX-License-Identifier: MIT -->
<html lang="<?plix getData path="SoupServer:texts/@lang" roles="value" escape="html"?>" dir="<?plix getData path="SoupServer:texts/@dir" roles="value" escape="html"?>">
<head>
<meta charset="utf-8">
<meta name="viewport" content="width=device-width, initial-scale=1, viewport-fit=cover">
<meta name="color-scheme" content="light dark">
<meta http-equiv="Content-Security-Policy" content="default-src 'self'; base-uri 'none'; form-action 'self'">
<title><?plix getData path="SoupServer:texts/Network" roles="value" escape="html"?></title>
<link rel="icon" href="favicon.svg" type="image/svg+xml">
<link rel="manifest" href="manifest.json">
<meta name="theme-color" media="(prefers-color-scheme: light)" content="#f5f1e9">
<meta name="theme-color" media="(prefers-color-scheme: dark)" content="#14120f">
<link rel="stylesheet" href="style.css">
<link rel="stylesheet" href="forms.css">
<link rel="stylesheet" href="sheet.css">
<script type="module" src="js/network.js"></script>
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
  <h1><?plix getData path="SoupServer:texts/Network" roles="value" escape="html"?></h1>
  <section class="card" aria-label="<?plix getData path="SoupServer:texts/Addresses" roles="value" escape="html"?>">
    <dl class="facts">
      <dt><?plix getData path="SoupServer:texts/Addresses" roles="value" escape="html"?></dt><dd id="addresses"><?plix getData path="network:info" roles="description" escape="html" onError="–"?></dd>
      <dt><?plix getData path="SoupServer:texts/Host name" roles="value" escape="html"?></dt><dd dir="auto"><?plix getData path="network:hostname" roles="value" escape="html" onError="–"?></dd>
    </dl>
    <p class="hint"><?plix getData path="SoupServer:texts/The host name works where your network knows it, often with .local at its end." roles="value" escape="html"?></p>
  </section>
  <section class="card" aria-labelledby="certificateHeading" data-has="<?plix getData path="SoupServer:certificate/sha256" roles="value" escape="html" onError=""?>">
    <h2 id="certificateHeading"><?plix getData path="SoupServer:texts/Certificate" roles="value" escape="html"?></h2>
    <p><?plix getData path="SoupServer:texts/The device makes its certificate itself, for its addresses. Browsers warn, because they do not know the authority that signs it." roles="value" escape="html"?></p>
    <dl class="facts">
      <dt><?plix getData path="SoupServer:texts/SHA-256 of the certificate" roles="value" escape="html"?></dt><dd><code class="hash" id="fingerprint"><?plix getData path="SoupServer:certificate/sha256" roles="value" escape="html" onError="–"?></code></dd>
      <dt><?plix getData path="SoupServer:texts/SHA-256 of the authority" roles="value" escape="html"?></dt><dd><code class="hash" id="authority"><?plix getData path="SoupServer:authority/sha256" roles="value" escape="html" onError="–"?></code></dd>
    </dl>
  </section>
  <section class="card" aria-labelledby="trustHeading" data-has="<?plix getData path="SoupServer:authority/sha256" roles="value" escape="html" onError=""?>">
    <h2 id="trustHeading"><?plix getData path="SoupServer:texts/To trust this device" roles="value" escape="html"?></h2>
    <ol class="list">
      <li><?plix getData path="SoupServer:texts/Save the certificate of the authority." roles="value" escape="html"?></li>
      <li><?plix getData path="SoupServer:texts/Compare its SHA-256 with what the device’s log or its maker says. What this page shows could be forged as long as the browser warns." roles="value" escape="html"?></li>
      <li><?plix getData path="SoupServer:texts/Import it into the browser or the system, as an authority for websites." roles="value" escape="html"?></li>
      <li><?plix getData path="SoupServer:texts/Open the device by one of its addresses. The certificate is for these only." roles="value" escape="html"?></li>
    </ol>
    <p class="hint"><?plix getData path="SoupServer:texts/Whoever has the authority’s key can make certificates for every website. Prefer a browser profile of its own, and remove the authority when you no longer need it." roles="value" escape="html"?></p>
    <div class="actions"><a class="action second" download="plix-authority.cer" href="data:application/pkix-cert;base64,<?plix getData path="SoupServer:authority/certificate" roles="value" escape="html" onError=""?>"><?plix getData path="SoupServer:texts/Save the authority" roles="value" escape="html"?></a></div>
  </section>
  <p><a href="settings.fcgi"><?plix getData path="SoupServer:texts/Back to the settings" roles="value" escape="html"?></a></p>
</main>
</body>
</html>
