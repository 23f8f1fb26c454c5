<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="fr_FR">
<context>
    <name>Localizable</name>
    <message><source>Processor</source><translation>Processeur</translation></message>
    <message><source>cpu</source><translation>cpu</translation></message>
    <message><source>Usage</source><translation>Utilisation</translation></message>
    <message><source>Load</source><translation>Charge</translation></message>
    <message><source>User</source><translation>Utilisateur</translation></message>
    <message><source>System</source><translation>Système</translation></message>
    <message><source>Nice</source><translation>Nice</translation></message>
    <message><source>Idle</source><translation>Inactif</translation></message>
    <message><source>Cores</source><translation>Cœurs</translation></message>
    <message><source>Tasks / threads</source><translation>Tâches / fils</translation></message>
    <message><source>Up</source><translation>Allumé depuis</translation></message>
    <message><source>Top</source><translation>Les plus actifs</translation></message>
    <message><source>mo</source><translation>mois</translation></message>
    <message><source>d</source><translation>j</translation></message>
    <message><source>h</source><translation>h</translation></message>
    <message><source>min</source><translation>min</translation></message>
</context>
</TS>
