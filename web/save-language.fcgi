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
<link rel="stylesheet" href="style.css">
<link rel="stylesheet" href="forms.css">
<link rel="stylesheet" href="sheet.css">
</head>
<body>
<!-- A page of its own for each thing that a form writes: the form cannot choose another. Without the
     form, as when a link leads here, it writes nothing, because a part of the instruction is missing. -->
<main class="sheet">
  <h1><?plix getData path="SoupServer:texts/Settings" roles="value" escape="html"?></h1>
  <p class="outcome" role="status"><?plix setData path="settings:/ui/language" role="value" type="$type" value="$value" onSuccess="$done" onError="$failed" escape="html"?></p>
  <p><a href="settings.fcgi"><?plix getData path="SoupServer:texts/Back to the settings" roles="value" escape="html"?></a></p>
</main>
</body>
</html>
