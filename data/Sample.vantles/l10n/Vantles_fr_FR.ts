<?xml version="1.0" encoding="utf-8"?>
<!-- SPDX-FileCopyrightText: 2026 The Vantles Authors
     SPDX-License-Identifier: CC0-1.0 -->
<!DOCTYPE TS>
<TS version="2.1" language="fr_FR">
<context>
    <name>VantleUI</name>
    <message>
        <source>Pin</source>
        <translation>Épingler</translation>
    </message>
    <message>
        <source>Learn more</source>
        <translation>En savoir plus</translation>
    </message>
    <message>
        <source>Play</source>
        <translation>Lire</translation>
    </message>
    <message>
        <source>Pause</source>
        <translation>Pause</translation>
    </message>
</context>
</TS>
